"""An unattended update in which drives vanish: they fail alone, and cleanly; the others take their image."""

from machine import GIB, Devices
from reference import lsscsi

SKIP_IDLE_TIME = True           # the vanished drive is tried seven times with pauses of ten seconds
ATTEMPTS = 7


def devices():
    found = Devices("ich9-ahci", "virtio-scsi-pci")
    for scsi_id in range(5):
        found.sas(scsi_id, f"DRIVE {scsi_id}", f"S{scsi_id}")
    found.sas(5, "DRIVE 5", None)
    found.sas(6, "DRIVE 6", "S6", ver="0002")   # runs the wanted revision already
    found.sas(7, "UNKNOWN", "U1")               # not in the map
    found.sata(0, GIB)
    return found.arguments


def verify(check):
    drives = [drive for drive in lsscsi(check.ran("lsscsi").out) if drive.revision != "0002" and drive.model != "UNKNOWN"]
    # A SATA drive tells its own revision; the serial number page of a SAS drive has none, and where the page is refused
    # or can't be read any more the map's stands.
    outcome = {"DRIVE 0": "SUCCESS,0001,", "DRIVE 1": "FAILED,0001,0001", "DRIVE 2": "SUCCESS,0001,",
               "DRIVE 3": "SUCCESS,0001,0002", "DRIVE 4": "SUCCESS,0001,",
               "DRIVE 5": "SUCCESS,0001,0002", "QEMU HARDDISK": "SUCCESS,2.5+,2.5+"}
    check.same("drives to flash", sorted(outcome), sorted(drive.model for drive in drives))
    check.same("result lines", "".join(f"{drive.block},{drive.host},{drive.target},{outcome[drive.model]};\n"
                                       for drive in drives), check.ran("update").out)
    calls = []
    for drive in drives:
        image = "sata.lod" if drive.is_ata else "sas.lod"
        calls += [f"{drive.host} {drive.target} /root-tree//Data/fw/{image} 0"] * (7 if drive.model == "DRIVE 1" else 1)
    check.same("calls of the flashing tool, none with a drive's descriptor", calls,
               check.ran("update.flashed").out.splitlines())
    log = check.ran("update.log").out
    check.same("attempts, failures and successes in the log", [7, ATTEMPTS, 6],
               [log.count(text) for text in ("Now executing", "failed with status 3\n", "successful, duration")])
    check.same("transport failures reported", 2, check.ran("update.stderr").out.count("ioctl(SG_IO): No such device"))
    gone = ("DRIVE 1", "DRIVE 3")
    check.ran("script")
    check.same("calls when the script is run", [call for call in dict.fromkeys(calls)],
               list(dict.fromkeys(check.ran("script.flashed").out.splitlines())))
    check.same("drives listed afterwards", [drive.block for drive in lsscsi(check.ran("lsscsi").out)
                                            if drive.model not in gone],
               [line.split(",")[0] for line in check.ran("list").out.splitlines()])
