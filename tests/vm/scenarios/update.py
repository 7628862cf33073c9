"""An unattended update: result lines, log, script, what the flashing tool is given, and the script run by hand."""

import re

from machine import GIB, Devices
from reference import lsscsi

SKIP_IDLE_TIME = True           # a failed attempt is followed by a pause of ten seconds
LONG_SERIAL = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"

# model -> image and the revision read back afterwards: a SATA drive tells its own; of a SAS drive it is what stands at
# bytes 32-35 of its serial number page, nothing on a short page, the map's where the page is refused.
FLASHED = {
    "QEMU HARDDISK": ("sata.lod", "2.5+"),
    "ALPHA":         ("alpha.lod", LONG_SERIAL[28:32]),
    "BETA":          ("beta.lod", ""),
    "SILENT":        ("silent.lod", "0002"),
}


def devices():
    found = Devices("ich9-ahci", "virtio-scsi-pci")
    found.sata(0, GIB)
    found.sas(0, "ALPHA", LONG_SERIAL)
    found.sas(1, "BETA", "B1")
    found.sas(2, "BETA", "B2", ver="0002")      # runs the wanted revision already
    found.sas(3, "UNKNOWN", "U1")               # not in the map
    found.sas(4, "SILENT", None)
    return found.arguments


def verify(check):
    drives = [drive for drive in lsscsi(check.ran("lsscsi").out) if drive.model in FLASHED and drive.revision != "0002"]
    check.same("drives to flash", 4, len(drives))
    results, log, script, calls = "", "", "#! /bin/bash\n", []
    for i, drive in enumerate(drives, 1):
        image, now = FLASHED[drive.model]
        path = f"/root-tree//Data/fw/{image}"
        command = f"fw_download '-b{drive.host}' '-t{drive.target}' '-l' '{path}' '-n' '-DDD'"
        has_failed = drive.model == "BETA"
        results += f"{drive.block},{drive.host},{drive.target},SUCCESS,{drive.revision},{now};\n"
        log += f"Now executing: {command}\nflashing {drive.host}:{drive.target}\n"
        if has_failed:
            log += f'checksum error\nCommand "{command}" failed with status 1\nflashing {drive.host}:{drive.target}\n'
        log += f"Firmware update of drive {i} of 4 successful, duration Ns!\n"
        script += (f"for count in $(seq 1 6); do\n    {command}\n    if [ $? -eq 0 ]; then break; fi\n"
                   "    sleep 10\ndone\n")
        calls += [f"{drive.host} {drive.target} {path} 0"] * (2 if has_failed else 1)

    check.same("result lines", results, check.ran("update").out)
    check.same("log", log, re.sub(r"duration \d+s", "duration Ns", check.ran("update.log").out))
    check.same("backup of the earlier log", "an earlier run\n", check.ran("update.backup").out)
    check.same("failures reported", 1, check.ran("update.stderr").out.count("failed with status 1\n"))
    check.same("script", script, check.ran("update.script").out)
    check.same("calls of the flashing tool, none with a drive's descriptor", calls,
               check.ran("update.flashed").out.splitlines())
    check.ran("script")
    check.same("calls when the script is run", sorted(set(calls), key=calls.index),
               check.ran("script.flashed").out.splitlines())
