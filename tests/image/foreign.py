"""Somebody's disk, which no maintenance system may write to."""

import os
import struct
import subprocess
import zlib


def make_disk(disk):
    """Partitions that an eager system would resume from, assemble, activate or mount, and thereby write to."""
    start, count = 2048, 8192                   # sectors
    kinds = {"swsuspend": "8200", "linux_raid_member": "fd00", "LVM2_member": "8e00", "ext4": "8300"}
    disk.write_bytes(bytes(24 << 20))
    for number, kind in enumerate(kinds.values()):
        subprocess.run(["sgdisk", "-n", f"0:{start + number * count}:+4M", "-t", f"0:{kind}", disk], check=True, capture_output=True)
    parts = disk.with_name("foreign.part")
    for number, kind in enumerate(kinds):
        parts.write_bytes(os.urandom(4 << 20))
        with open(parts, "r+b") as part:
            if kind == "swsuspend":
                subprocess.run(["mkswap", parts], check=True, capture_output=True)
                part.seek(4086)
                part.write(b"S1SUSPEND\0")
            elif kind == "ext4":
                subprocess.run(["mke2fs", "-q", "-F", "-t", "ext4", parts], check=True)
            elif kind == "LVM2_member":
                text = struct.pack("<I8s32sQ464x", 32, b"LVM2 001", b"0123456789abcdef" * 2, 4 << 20)[:492]
                crc = zlib.crc32(text, 0xf597a6cf ^ 0xffffffff) ^ 0xffffffff
                part.seek(512)
                part.write(struct.pack("<8sQI", b"LABELONE", 1, crc) + text)
            else:                               # a mirror of one, version 1.2
                words = struct.pack("<IIII16s32sQiIQII", 0xa92b4efc, 1, 0, 0, b"0123456789abcdef", b"old:0", 0, 1, 0, 8000, 0, 1)
                words += bytes(128 - len(words)) + struct.pack("<QQQQI4x16s8x", 16, 8000, 8, 0, 0, b"fedcba9876543210")
                words = bytearray(words + struct.pack("<QQQII", 0, 1, 2**64 - 1, 0, 1)).ljust(258, b"\0")
                total = sum(struct.unpack("<64I", words[:256]))
                struct.pack_into("<I", words, 216, (total + (total >> 32)) & 0xffffffff)
                part.seek(4096)
                part.write(words)
        seen = subprocess.run(["blkid", "-p", "-o", "value", "-s", "TYPE", parts], capture_output=True, text=True)
        if seen.stdout.strip() != kind:
            raise LookupError(f"the foreign partition is {seen.stdout!r}, and not {kind!r}")
        subprocess.run(["dd", f"if={parts}", f"of={disk}", f"seek={start + number * count}", "conv=notrunc", "status=none"], check=True)
