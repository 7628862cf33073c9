# What every scenario in the guest uses. Each recorded command goes to the host at once over a virtio-serial port, so
# that what happened before a hang is kept.

tree=/root-tree

# record NAME COMMAND...: runs it and sends its status and outputs. Names hold no blanks.
record() {
    local name=$1 status
    shift
    echo "BEGIN $name" >&3
    "$@" </dev/null >/vm/out 2>/vm/err 3>&-
    status=$?
    echo "DONE $name $status $(stat -c %s /vm/out) $(stat -c %s /vm/err)" >&3
    cat /vm/out /vm/err >&3
}

# record_traced NAME COMMAND...: also sends, as NAME.trace, which commands the kernel dispatched meanwhile, and their ends.
record_traced() {
    local tracing=/sys/kernel/tracing
    echo >$tracing/trace
    echo 1 | tee $tracing/events/scsi/scsi_dispatch_cmd_{start,done}/enable >/dev/null
    record "$@"
    echo 0 | tee $tracing/events/scsi/scsi_dispatch_cmd_{start,done}/enable >/dev/null
    record "$1.trace" cat $tracing/trace
}

# wait_for_devices COUNT: until that many SCSI devices have their generic node, 30 s at most.
wait_for_devices() {
    for _ in $(seq 300); do
        [ "$(ls -d /sys/class/scsi_device/*/device/generic /dev/sg[0-9]* 2>/dev/null | wc -l)" -ne $((2 * $1)) ] ||
            break
        sleep 0.1
    done
}

# record_devices: the reference clients' view of every disk, under names that end in its H:C:T:L.
record_devices() {
    local path address generic block
    record lsscsi lsscsi -g
    for path in /sys/class/scsi_device/*; do
        [ "$(cat "$path/device/type")" = 0 ] || continue
        address=${path##*/}
        generic=/dev/$(basename "$(readlink "$path/device/generic")")
        record "inquiry.$address" sg_inq "$generic"
        record "serial.$address" sg_inq --page=sn "$generic"
        record "capacity.$address" sg_readcap --16 "$generic"
        record "caching.$address" sg_modes --six --dbd --page=8 "$generic"
        if grep -q '^ATA' "$path/device/vendor"; then
            block=/dev/$(ls "$path/device/block")
            record "identify.$address" hdparm -I "$block"
            record "words.$address" hdparm --Istdout "$block"
        fi
    done
}

# start_user_drives: the simulated drives of the inventory on the standard input, each a device of the target framework
# with a process behind it, and a loopback host of its own to reach it by: a scan waits for a command that hangs.
start_user_drives() {
    local i=0 core port
    export VANDREL_REHEARSAL=/vm/machine
    mkdir -p /vm/machine/state
    cat >/vm/machine/machine
    modprobe target_core_user
    modprobe tcm_loop
    mount -t configfs configfs /sys/kernel/config
    while read -r _; do
        core=/sys/kernel/config/target/core/user_$i/drive
        port=/sys/kernel/config/target/loopback/naa.60010$i/tpgt_1
        mkdir -p "$core" "$port/lun/lun_0"
        echo "dev_config=vandrel/$i,dev_size=33554432,hw_block_size=512,nl_reply_supported=-1" >"$core/control"
        echo 0 >"$core/attrib/cmd_time_out"
        echo 1 >"$core/enable"
        user_drive $i /dev/uio$i "$(cat /sys/class/uio/uio$i/maps/map0/size)" 3>&- &
        echo "naa.60020$i" >"$port/nexus"
        ln -s "$core" "$port/lun/lun_0/drive"
        i=$((i + 1))
    done </vm/machine/machine
}

# make_tree: a root directory for -R, with the flashing stand-in under the real tool's name.
make_tree() {
    mkdir -p $tree/Data/fw $tree/sbin $tree/tmp
    cp /vm/fw_download $tree/sbin
}

modprobe virtio_pci
modprobe virtio_console
while ! port=$(ls /dev/vport*p* 2>/dev/null); do sleep 0.1; done
exec 3>"$port"
for module in sd_mod sr_mod sg ahci virtio_scsi megaraid_sas xhci-pci; do modprobe $module; done
modprobe usb-storage delay_use=0
. /vm/scenario.sh
record dmesg dmesg
