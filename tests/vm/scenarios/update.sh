# Drives vanish while others are being flashed: one before its turn, one after it. Then the script of the run is run.
wait_for_devices 9
make_tree
printf '%s\n' 'DRIVE .* 0002 fw/sas.lod' 'QEMU.HARDDISK .* 2.6+ fw/sata.lod' >$tree/Data/Map.txt
touch $tree/Data/fw/sas.lod $tree/Data/fw/sata.lod
cat >/vm/on_flash.sh <<'END'
case $target in
    0) gone=1 ;;
    4) gone=3 ;;
    *) gone= ;;
esac
gone=/sys/class/scsi_device/$host:0:$gone:0/device/delete
[ ! -e "$gone" ] || echo 1 >"$gone"
END
record_devices
record update vandrel -R $tree --targets ALL
record update.flashed cat /vm/flashed
record update.log cat $tree/tmp/Vandrel.log
record update.stderr cat $tree/Data/Vandrel.stderr
record list vandrel -R $tree --list

rm /vm/flashed
PATH=$tree/sbin:$PATH record script bash /tmp/Script.sh
record script.flashed cat /vm/flashed
