"""Drives of every kind: which are listed, with which texts, capacities and serial numbers, by which commands."""

import re

from machine import GIB, MIB, TIB, Devices
from reference import capacity, commands, discovery_commands, field, lsscsi

MAPPED = "SMALL"                # the one model that the scenario's map knows
TWINS = "TWIN"                  # two drives that tell vendor, model and serial alike: one of them is listed


def devices():
    found = Devices("ich9-ahci", "virtio-scsi-pci", "megasas", "qemu-xhci")
    found.sata(0, 300 * GIB, model="A MODEL NAME THAT FILLS FORTY CHARACTERS", serial="SERIAL-OF-TWENTY-CHR",
               ver="FW.12345")
    found.sata(1, 64 * MIB)
    found.sas(3, "BIG DISK", "0123456789ABCDEFGHIJ", size=8 * GIB)
    found.sas(0, MAPPED, "S1", size=64 * MIB)
    found.sas(1, "NATIVE4K", "S4K", logical_block_size=4096, physical_block_size=4096)
    found.sas(2, "HUGE", "S3T", size=3 * TIB)
    found.sas(4, "X", "  ABCDEFGHIJKLMN", vendor="SEAGATE")
    found.sas(5, "st4000", "SHORTENED-AS-WELL")
    found.sas(6, "SILENT", None)
    found.sas(7, TWINS, "SAME")
    found.sas(8, TWINS, "SAME")
    found.sas(9, "LOGICAL", "L1", vendor="LSI")
    found.disk("scsi-cd", GIB, bus="virtio-scsi-pci.0", scsi_id=10)
    found.disk("scsi-hd", GIB, bus="megasas.0", scsi_id=0, vendor="ACME", product="BEHIND RAID", serial="R1")
    found.disk("usb-storage", GIB, serial="U1")
    return found.arguments


def expected_line(check, drive):
    """The --list line, out of lsscsi for the place and the identity clients for the texts."""
    if drive.is_ata:
        seen = check.ran(f"identify.{drive.address}").out
        model, revision = field(seen, "Model Number"), field(seen, "Firmware Revision")
    else:
        seen = check.ran(f"inquiry.{drive.address}").out
        model, revision = field(seen, "Product identification"), field(seen, "Product revision level")
        check.same(f"lsscsi and sg_inq agree on {drive.address}", (drive.model, drive.revision), (model, revision))
    offer = '0002,"small.lod"' if model == MAPPED else "-,-"
    return f'{drive.block},{drive.host},{drive.target},{drive.vendor},"{model}",{revision},{offer};'


def expected_serial(check, drive):
    """As the drive tells it, leading blanks skipped; one maker's drives keep eight characters."""
    if drive.is_ata:
        return field(check.ran(f"identify.{drive.address}").out, "Serial Number")
    page = check.results[f"serial.{drive.address}"]
    if page.status:
        return "<unknown>"
    serial = field(page.out, "Unit serial number")
    return serial[:8] if drive.vendor == "SEAGATE" or drive.model.lower().startswith("st") else serial


def verify(check):
    found = lsscsi(check.ran("lsscsi").out)
    check.same("devices in the machine", 15, len(found))
    hosts = {name: int(host) for host, name in re.findall(r"(\d+) (\S+)", check.ran("hosts").out)}
    candidates = [drive for drive in found if drive.kind == "disk" and drive.vendor != "LSI"
                  and drive.host not in (hosts["megaraid_sas"], hosts["usb-storage"])]
    listing = check.ran("list").out
    dropped_twin = [drive for drive in candidates if drive.model == TWINS and f",{drive.target},ACME" not in listing]
    check.same("one of two drives with the same serial is dropped", 1, len(dropped_twin))
    listed = [drive for drive in candidates if drive not in dropped_twin]

    expected = "".join(expected_line(check, drive) + "\n" for drive in listed)
    check.same("--list in a root tree", expected, listing)
    check.same("--list without a root tree", expected.replace('0002,"small.lod"', "-,-"), check.ran("list.plain").out)
    offline = next(drive for drive in found if f"{drive.host}:{drive.target}" == check.ran("offline").out.strip())
    check.same("--list with a drive offline", "".join(expected_line(check, drive) + "\n" for drive in listed
                                                      if drive != offline), check.ran("list.offline").out)

    sent = commands(check.ran("list.trace").out)
    for drive in found:
        is_candidate = drive in candidates or drive.vendor == "LSI"
        check.same(f"commands sent to {drive.address} {drive.vendor} {drive.model}",
                   discovery_commands(check, drive, drive in listed) if is_candidate else [],
                   sent.get(drive.address, []))

    dumps = check.ran("dump").err
    for drive in listed:
        last_block, length = capacity(check, drive)
        expected = (f"    maxlba={last_block:#x}, blklen={length}\n", expected_serial(check, drive))
        seen = re.search(rf"    adapter={drive.block}\n(?:.*\n)*?(    maxlba=.*\n)    vendor=.* serial=(.*)\n", dumps)
        check.same(f"capacity and serial of {drive.block}", expected, seen and seen.groups())
    check.same("drives in the dump", len(listed), dumps.count("    adapter="))
