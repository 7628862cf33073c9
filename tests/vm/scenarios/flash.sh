# Drives in user space take firmware: from the tool that ships beside two others, and from the program by that tool. Then
# disks that are in use.
start_user_drives <<'END'
sda,0,0,ACME,"OURS",0001,-,-; serial=A fw-busy=1
sdb,0,1,ACME,"THEIRS",0001,-,-; serial=B fw-busy=1
sdc,0,2,ATA,"OURS",AA01,-,-; serial=C blocks=65536
sdd,0,3,ATA,"THEIRS",AA01,-,-; serial=D blocks=65536
sde,0,4,ACME,"WHOLE ROAD",0001,-,-; serial=E fw-modes=0E,0F
sdf,0,5,ATA,"WHOLE ROAD",AA01,-,-; serial=F blocks=65536 fw-dma fw-blocks=1-16
sdg,0,6,ACME,"REFUSES",0001,-,-; serial=G refuse=3B0700008000
END
modprobe scsi_debug dev_size_mb=32 add_host=5 num_parts=1
wait_for_devices 12
record lsscsi lsscsi -g

make_image() {
    { printf 'revision=%s\nsize=%s\n' "$1" "$2"; head -c "$2" /bin/busybox; } | head -c "$2" >"$3"
}
make_image 0002 123456 /vm/sas.lod
make_image AA02 204800 /vm/sata.lod

# of MODEL KIND: the drive's H:C:T:L, its node and its disk.
address_of() { basename "$(dirname "$(dirname "$(grep -l "^$1 *\$" /sys/class/scsi_device/*/device/model | sed -n "$2p")")")"; }
node_of() { echo "/dev/$(basename "$(readlink "/sys/class/scsi_device/$1/device/generic")")"; }
disk_of() { ls "/sys/class/scsi_device/$1/device/block"; }
flash() { vandrel-fw-download -b "${1%%:*}" -t "$(echo "$1" | cut -d: -f3)" -n -DDD -l "$2"; }

record sas.ours flash "$(address_of OURS 1)" /vm/sas.lod
record sas.theirs sg_write_buffer -m dmc_offs_save -b 32k -I /vm/sas.lod "$(node_of "$(address_of THEIRS 1)")"
record sata.ours flash "$(address_of OURS 2)" /vm/sata.lod
record sata.theirs hdparm --yes-i-know-what-i-am-doing --please-destroy-my-drive --fwdownload-mode3 /vm/sata.lod \
    "/dev/$(disk_of "$(address_of THEIRS 2)")"
record refused flash "$(address_of REFUSES 1)" /vm/sas.lod
for drive in 0 1 2 3; do record "received.$drive" sha256sum "/vm/machine/state/0:0:$drive:0.image"; done
record images sha256sum /vm/sas.lod /vm/sata.lod
record commands cat /vm/machine/commands.log

make_tree
ln -sf /usr/sbin/vandrel-fw-download $tree/sbin/fw_download
printf '%s\n' 'WHOLE.ROAD 0001 0002 sas.lod' 'WHOLE.ROAD AA01 AA02 sata.lod' >$tree/Data/Map.txt
cp /vm/*.lod $tree/Data
record road vandrel -R $tree --targets ALL
record road.log cat $tree/tmp/Vandrel.log
# The kernel tells a SCSI drive's revision as it was when it found the drive: it has to find it anew.
road=$(address_of 'WHOLE ROAD' 1)
echo 1 >"/sys/class/scsi_device/$road/device/delete"
echo '- - -' >"/sys/class/scsi_host/host${road%%:*}/scan"
wait_for_devices 12
record road.list vandrel -R $tree --list

# A mounted partition, swap, a logical volume, a mirror, and a disk that nobody uses.
modprobe ext4
modprobe raid1
modprobe dm_mod
for i in 1 2 3 4 5; do disks[i]=$(disk_of "$(address_of scsi_debug $i)"); done
mkdir -p /mnt
mke2fs "/dev/${disks[1]}1" >/dev/null 2>&1
mount -t ext4 "/dev/${disks[1]}1" /mnt
mkswap "/dev/${disks[2]}" >/dev/null
swapon "/dev/${disks[2]}"
echo "0 2048 linear /dev/${disks[3]} 0" | dmsetup create --noudevsync --uuid LVM-test volume
mdadm --build /dev/md7 --level=1 --force --raid-devices=1 "/dev/${disks[4]}" >/dev/null 2>&1
for i in 1 2 3 4 5; do record_traced "used.$i" flash "$(address_of scsi_debug $i)" /vm/sas.lod; done
