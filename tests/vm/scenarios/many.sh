# Simulated drives of the kernel's own, more and more of them, and how long listing them takes.
modprobe scsi_debug add_host=24 num_tgts=2
make_tree
per_drive_clients() {
    for generic in /dev/sg[0-9]*; do
        sg_inq "$generic"
        sg_readcap --16 "$generic"
    done
}
# time_of RUNS COMMAND...: microseconds of the fastest run.
time_of() {
    local best= start took runs=$1
    shift
    for _ in $(seq "$runs"); do
        start=${EPOCHREALTIME/./}
        "$@" >/dev/null 2>&1
        took=$((${EPOCHREALTIME/./} - start))
        [ "${best:-$took}" -lt "$took" ] || best=$took
    done
    echo "$best"
}
take_times() {
    record "time.list.$1" time_of 5 vandrel -R $tree --list
    record "time.lsscsi.$1" time_of 5 lsscsi -g
    record "time.clients.$1" time_of 1 per_drive_clients
}
for count in 48 64 96; do
    wait_for_devices $count
    record "lsscsi.$count" lsscsi -g
    record_traced "list.$count" vandrel -R $tree --list
    [ $count = 64 ] || take_times $count
    case $count in
        48) echo 8 >/sys/bus/pseudo/drivers/scsi_debug/add_host ;;
        64) echo 16 >/sys/bus/pseudo/drivers/scsi_debug/add_host ;;
    esac
done
