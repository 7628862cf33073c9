# Simulated drives of the kernel's own, more and more of them, and how long listing them takes.
make_tree
# Every command is answered at once. Two targets a host: with more of them, serial numbers repeat.
modprobe scsi_debug delay=0 add_host=0 num_tgts=2

per_drive_clients() {
    for generic in /dev/sg[0-9]*; do
        sg_inq "$generic"
        sg_readcap --16 "$generic"
    done
}

# time_of RUNS COMMAND...: microseconds of the fastest run.
time_of() {
    local runs=$1 start
    shift
    for _ in $(seq "$runs"); do
        start=${EPOCHREALTIME/./}
        "$@" >/dev/null 2>&1
        echo $((${EPOCHREALTIME/./} - start))
    done | sort -n | head -n 1
}

for hosts in 24 8 16; do
    echo $hosts >/sys/bus/pseudo/drivers/scsi_debug/add_host
    count=$((count + 2 * hosts))
    wait_for_devices $count
    record "lsscsi.$count" lsscsi -g
    record_traced "list.$count" vandrel -R $tree --list
    [ $count != 64 ] || continue
    record "time.list.$count" time_of 5 vandrel -R $tree --list
    record "time.lsscsi.$count" time_of 5 lsscsi -g
    record "time.clients.$count" time_of 1 per_drive_clients
done
