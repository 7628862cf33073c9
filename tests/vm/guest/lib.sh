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

# start_user_drives: those of the inventory on the standard input.
start_user_drives() { sh /vm/user_drives.sh 3>&-; }

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
