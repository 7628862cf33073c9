"""Head cycling: which block is read at which end, by which command, and what stays of the caching page."""

import re

from machine import GIB, TIB, Devices
from reference import IDENTIFY, capacity, commands, discovery_commands, lsscsi, number, serial_page_commands, wide

CYCLES = 10
USER_DRIVE = "USER SPACE DRIVE"         # guest/user_drive.cpp: its caching page can be changed
FIRST_ATA = "85 06 0c 00 00 00 01 00 00 00 00 00 00 40 40 00"
FIRST_SCSI = "08 00 00 00 01 00"


def devices():
    found = Devices("ich9-ahci", "virtio-scsi-pci")
    found.sata(0, 300 * GIB)
    # The last block at each side of what READ(6) and READ(10) can address, and long blocks.
    for scsi_id, size, length in ((0, GIB, 512), (1, GIB + 512, 512), (2, 2 * TIB, 512), (3, 2 * TIB + 512, 512),
                                  (4, GIB, 4096)):
        found.sas(scsi_id, f"DRIVE {scsi_id}", f"S{scsi_id}", size=size, logical_block_size=length,
                  physical_block_size=length)
    return found.arguments


def far_end(drive, last):
    if drive.is_ata:                    # 42h READ VERIFY EXT; QEMU's drives always claim more than 28 bits of blocks
        return ("85 07 0c 00 00 00 01 " + bytes(last >> shift & 0xFF for shift in (24, 0, 32, 8, 40, 16)).hex(" ")
                + " 40 42 00")
    if last <= 0x1FFFFF:
        return f"08 {wide(last, 3)} 01 00"
    if last <= 0xFFFFFFFF:
        return f"28 00 {wide(last, 4)} 00 00 01 00"
    return f"88 00 {wide(last, 8)} 00 00 00 01 00 00"


def verify(check):
    drives = lsscsi(check.ran("lsscsi").out)
    check.same("drives", 7, len(drives))
    check.same("result lines without a map", "", check.ran("cycle").out)
    sent = commands(check.ran("cycle.trace").out)
    for drive in drives:
        last, _ = capacity(check, drive)
        far = far_end(drive, last)
        if drive.is_ata:
            expected = [far] + [FIRST_ATA, far] * CYCLES + [IDENTIFY]
        else:
            page = check.ran(f"caching.{drive.address}").out
            check.same(f"caching page of {drive.address} afterwards", page, check.ran(f"after.{drive.address}").out)
            length = f"{number(page, 'Mode data length'):02x}"
            sense = ["1a 08 08 00 04 00", f"1a 08 08 00 {length} 00"]
            select = [f"15 00 00 00 {length} 00"]
            # QEMU refuses the MODE SELECT for its clear PF bit, so there is nothing to put back.
            put_back = select if drive.model == USER_DRIVE else []
            expected = sense + select + [far] + [FIRST_SCSI, far] * CYCLES + sense + put_back
            expected += serial_page_commands(check, drive)
        expected = discovery_commands(check, drive) + expected
        check.same(f"commands sent to {drive.address}", expected, sent.get(drive.address, []))
        if drive.model == USER_DRIVE:
            lists = re.findall(r" data=(.*) ok", check.ran("cycle.user_drive").out)
            check.same("read cache disabled and enabled again", ["05", "04"], [data.split()[6] for data in lists])
