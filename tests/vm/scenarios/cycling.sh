# Moves the heads of every drive; the caching pages are read before and after.

# The drive in user space: a device of the target framework, the process behind it, a loopback host to reach it by.
start_user_drive() {
    local core=/sys/kernel/config/target/core/user_0/drive port=/sys/kernel/config/target/loopback/naa.6001/tpgt_1
    modprobe target_core_user
    modprobe tcm_loop
    mount -t configfs configfs /sys/kernel/config
    mkdir -p $core $port/lun/lun_0
    echo "dev_config=vandrel/drive,dev_size=$((65536 * 512)),hw_block_size=512,nl_reply_supported=-1" >$core/control
    echo 1 >$core/enable
    user_drive /dev/uio0 "$(cat /sys/class/uio/uio0/maps/map0/size)" >>/vm/user_drive.log 3>&- &
    echo naa.6002 >$port/nexus
    ln -s $core $port/lun/lun_0/drive
}

start_user_drive
wait_for_devices 7
make_tree
echo 'NO-SUCH-MODEL .* 0 none' >$tree/Data/ULL
record_devices
: >/vm/user_drive.log
record_traced cycle vandrel -R $tree --targets ALL
record cycle.user_drive cat /vm/user_drive.log
for path in /sys/class/scsi_device/*; do
    record "after.${path##*/}" sg_modes --six --dbd --page=8 "/dev/$(basename "$(readlink "$path/device/generic")")"
done
