# Simulated drives of the kernel's own, more and more of them, and how long listing them takes.
make_tree
debug=/sys/bus/pseudo/drivers/scsi_debug
# Every command is answered at once. More than two targets a host would repeat serial numbers.
modprobe scsi_debug delay=0 add_host=0 num_tgts=2

inquire_each() {
    for generic in /dev/sg[0-9]*; do sg_inq "$generic"; done
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

record_times() {
    record "time.list.$1" time_of 5 vandrel -R $tree --list
    record "time.lsscsi.$1" time_of 5 lsscsi -g
    record "time.sg_inq.$1" time_of 1 inquire_each
}

echo 1 >$debug/num_tgts
echo 1 >$debug/add_host
wait_for_devices 1
record_times 1
echo -1 >$debug/add_host
echo 2 >$debug/num_tgts

count=0
for hosts in 8 24 16; do
    echo $hosts >$debug/add_host
    count=$((count + 2 * hosts))
    wait_for_devices $count
    record "lsscsi.$count" lsscsi -g
    record_traced "list.$count" vandrel -R $tree --list
    [ $count = 64 ] || record_times $count
done

# The same with drives that take a millisecond for a command, as quick ones do.
echo 1000000 >$debug/ndelay
record "time.slow.96" time_of 3 vandrel -R $tree --list
record_traced slow vandrel -R $tree --list
