"""Drives of every kind: which are listed, with which texts, capacities and serial numbers, by which commands."""

import re

from machine import Devices
from reference import capacity, commands, discovery_commands, field, lsscsi

SECONDS = 120
MIB, GIB = 1 << 20, 1 << 30
MAPPED = "SMALL"                # the one model that the scenario's map knows
TWINS = "TWIN"                  # two drives that tell vendor, model and serial alike: one of them is listed


def devices():
    found = Devices()
    found.add("ich9-ahci", id="ahci")
    found.disk("ide-hd", 300 * GIB, bus="ahci.0", model="A MODEL NAME THAT FILLS FORTY CHARACTERS",
               serial="SERIAL-OF-TWENTY-CHR", ver="FW.12345")
    found.disk("ide-hd", 64 * MIB, bus="ahci.1")
    found.add("virtio-scsi-pci", id="sas")
    rows = [
        # id vendor     product     size        serial                       the rest
        (3, "ACME",    "BIG DISK", 8 * GIB,    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ", {}),
        (0, "ACME",    "SMALL",    64 * MIB,   "S1", {}),
        (1, "ACME",    "NATIVE4K", 16 * GIB,   "S4K", {"logical_block_size": 4096, "physical_block_size": 4096}),
        (2, "ACME",    "HUGE",     3072 * GIB, "S3T", {}),
        (4, "SEAGATE", "X",        8 * GIB,    "  ABCDEFGHIJKLMN", {}),
        (5, "ACME",    "st4000",   8 * GIB,    "SHORTENED-AS-WELL", {}),
        (6, "ACME",    "SILENT",   8 * GIB,    None, {}),
        (7, "ACME",    "TWIN",     8 * GIB,    "SAME", {}),
        (8, "ACME",    "TWIN",     8 * GIB,    "SAME", {}),
        (9, "LSI",     "LOGICAL",  8 * GIB,    "L1", {}),
    ]
    for scsi_id, vendor, product, size, serial, rest in rows:
        if serial:
            rest["serial"] = serial
        found.disk("scsi-hd", size, bus="sas.0", scsi_id=scsi_id, vendor=vendor, product=product, ver="0001", **rest)
    found.disk("scsi-cd", GIB, bus="sas.0", scsi_id=10)
    found.add("megasas", id="raid")
    found.disk("scsi-hd", GIB, bus="raid.0", scsi_id=0, vendor="ACME", product="BEHIND RAID", ver="0001", serial="R1")
    found.add("qemu-xhci")
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


def check(check):
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
