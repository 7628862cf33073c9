# The simulated drives of the inventory on the standard input, each a device of the kernel's target framework with a process
# behind it, and a loopback host of its own to reach it by: a scan waits for a command that hangs.
# usage: user_drives.sh [SECONDS after which the kernel answers a command in place of the process]
export VANDREL_REHEARSAL=/vm/machine
mkdir -p /vm/machine/state
cat >/vm/machine/machine
modprobe target_core_user
modprobe tcm_loop
mount -t configfs configfs /sys/kernel/config
i=0
while read -r _; do
    core=/sys/kernel/config/target/core/user_$i/drive
    port=/sys/kernel/config/target/loopback/naa.60010$i/tpgt_1
    mkdir -p "$core" "$port/lun/lun_0"
    echo "dev_config=vandrel/$i,dev_size=33554432,hw_block_size=512,nl_reply_supported=-1" >"$core/control"
    echo "${1:-0}" >"$core/attrib/cmd_time_out"
    echo 1 >"$core/enable"
    setsid user_drive $i /dev/uio$i "$(cat /sys/class/uio/uio$i/maps/map0/size)" &
    echo "naa.60020$i" >"$port/nexus"
    ln -s "$core" "$port/lun/lun_0/drive"
    i=$((i + 1))
done </vm/machine/machine
