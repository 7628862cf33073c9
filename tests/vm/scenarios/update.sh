# An unattended update of all drives; one of them needs a second attempt. Then the script that it wrote is run.
wait_for_devices 6
make_tree
cat >$tree/Data/Map.txt <<'END'
QEMU.HARDDISK .* 2.6+ fw/sata.lod
ALPHA .* 0002 fw/alpha.lod
BETA 000[0-9] 0002 fw/beta.lod
SILENT .* 0002 fw/silent.lod
END
for image in sata alpha beta silent; do echo $image >$tree/Data/fw/$image.lod; done
echo "an earlier run" >$tree/tmp/Vandrel.log
cat >/vm/on_flash.sh <<'END'
if [ "$target" = 1 ] && [ ! -e /vm/failed ]; then
    touch /vm/failed
    echo "checksum error" >&2
    exit 1
fi
END
record_devices
record update vandrel -R $tree --targets ALL
record update.flashed cat /vm/flashed
record update.log cat $tree/tmp/Vandrel.log
record update.backup cat "$tree/tmp/Vandrel.log~"
record update.stderr cat $tree/Data/Vandrel.stderr
record update.script cat /tmp/Script.sh

rm /vm/flashed
PATH=$tree/sbin:$PATH record script bash /tmp/Script.sh
record script.flashed cat /vm/flashed
