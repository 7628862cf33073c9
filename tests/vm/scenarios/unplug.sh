# Drives vanish while others are being flashed: one before its turn, one after it.
wait_for_devices 4
make_tree
echo 'DRIVE .* 0002 fw/image' >$tree/Data/Map.txt
touch $tree/Data/fw/image
cat >/vm/on_flash.sh <<'END'
case $target in
    0) gone=1 ;;
    3) gone=2 ;;
    *) gone= ;;
esac
[ -z "$gone" ] || echo 1 >"/sys/class/scsi_device/$host:0:$gone:0/device/delete"
END
record_devices
record update vandrel -R $tree --targets ALL
record update.log cat $tree/tmp/Vandrel.log
record update.stderr cat $tree/Data/Vandrel.stderr
record update.script cat /tmp/Script.sh
record list vandrel -R $tree --list
