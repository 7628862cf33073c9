# Moves the heads of every drive; the caching pages are read before and after.

start_user_drives <<'END'
sda,0,0,ACME,"USER SPACE DRIVE",0001,-,-; serial=USER-1 blocks=65536
END
wait_for_devices 7
make_tree
echo 'NO-SUCH-MODEL .* 0 none' >$tree/Data/ULL
record_devices
: >/vm/machine/commands.log
record_traced cycle vandrel -R $tree --targets ALL
record cycle.user_drive cat /vm/machine/commands.log
for path in /sys/class/scsi_device/*; do
    record "after.${path##*/}" sg_modes --six --dbd --page=8 "/dev/$(basename "$(readlink "$path/device/generic")")"
done
