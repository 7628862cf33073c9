# Lists a machine with drives of every kind: with and without a root tree, in verbose mode, with one drive offline.
wait_for_devices 15
make_tree
echo 'SMALL .* 0002 fw/small.lod' >$tree/Data/Map.txt
touch $tree/Data/fw/small.lod
record_devices
list_hosts() {
    for host in /sys/class/scsi_host/host*; do echo "${host##*/host} $(cat "$host/proc_name")"; done
}
record hosts list_hosts
record_traced list vandrel -R $tree -l
record list.plain vandrel --list

# A run without a map and a drive list updates nothing, but dumps every drive.
mkdir /bare-tree
record dump vandrel -R /bare-tree -v --targets ALL

device=$(grep -l '^BIG DISK' /sys/class/scsi_device/*/device/model)
echo offline >"${device%/model}/state"
address=$(basename "${device%/device/model}")
record offline echo "${address%%:*}:$(echo "$address" | cut -d: -f3)"
record list.offline vandrel -R $tree -l
