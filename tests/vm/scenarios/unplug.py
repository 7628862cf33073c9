"""Drives that vanish in the middle of a run fail alone, and cleanly."""

from machine import Devices
from reference import lsscsi

SKIP_IDLE_TIME = True           # the vanished drive is tried seven times with pauses of ten seconds
ATTEMPTS = 7


def devices():
    found = Devices("virtio-scsi-pci")
    for scsi_id in range(4):
        found.sas(scsi_id, f"DRIVE {scsi_id}", f"S{scsi_id}")
    return found.arguments


def verify(check):
    first, before_turn, after_turn, last = drives = lsscsi(check.ran("lsscsi").out)
    # A short serial number page holds no revision; where it cannot be read any more, the map's revision stands.
    outcome = {first: "SUCCESS,0001,", before_turn: "FAILED,0001,0001", after_turn: "SUCCESS,0001,0002",
               last: "SUCCESS,0001,"}
    check.same("result lines", "".join(f"{drive.block},{drive.host},{drive.target},{outcome[drive]};\n"
                                       for drive in drives), check.ran("update").out)
    log = check.ran("update.log").out
    gone = f"no drive at {before_turn.host}:{before_turn.target}\n"
    check.same("attempts on the vanished drive", ATTEMPTS, log.count(gone))
    check.same("failed attempts in all", ATTEMPTS, log.count("failed with status 3\n"))
    check.same("successes", 3, log.count("successful"))
    check.same("transport failures reported", 2, check.ran("update.stderr").out.count("ioctl(SG_IO): No such device"))
    check.same("drives in the script", 4, check.ran("update.script").out.count("fw_download"))
    check.same("drives listed afterwards", [first.block, last.block],
               [line.split(",")[0] for line in check.ran("list").out.splitlines()])
