"""What the reference clients and the kernel's trace say, as plain values, and what our commands should then be."""

import re
from typing import NamedTuple

IDENTIFY = "85 08 0e 00 00 00 01 00 00 00 00 00 00 00 ec 00"
READ_CAPACITY = "9e 10 00 00 00 00 00 00 00 00 00 00 00 0c 00 00"


class Drive(NamedTuple):
    """A line of `lsscsi -g`; texts without the padding, cut to the columns of a standard INQUIRY."""
    host: int
    channel: int
    target: int
    lun: int
    kind: str
    vendor: str
    model: str
    revision: str
    block: str

    @property
    def address(self):
        return f"{self.host}:{self.channel}:{self.target}:{self.lun}"

    @property
    def is_ata(self):
        return self.vendor == "ATA"


def lsscsi(text):
    """Devices in the order of host and target."""
    line = r"^\[(\d+):(\d+):(\d+):(\d+)\]\s+(\S+)\s+(.{8}) (.{16}) (.{4})  (?:/dev/)?(\S+)"
    drives = [Drive(*map(int, found[:4]), *map(str.strip, found[4:])) for found in re.findall(line, text, re.M)]
    return sorted(drives, key=lambda drive: (drive.host, drive.target))


def field(text, label):
    """The value behind "label:" in the output of sg_inq or hdparm, without the padding."""
    return re.search(rf"^\s*{label}: *(.*?)\s*$", text, re.M)[1]


def number(text, label):
    """The decimal number behind "label=" in the output of sg_readcap or sg_modes."""
    return int(re.search(rf"{label}=(\d+)", text)[1])


def commands(trace):
    """Address "H:C:T:L" -> the command blocks dispatched to it, in order, as hexadecimal text."""
    sent = {}
    for *address, block in re.findall(r"cmd_start: host_no=(\d+) channel=(\d+) id=(\d+) lun=(\d+) .* raw=([0-9a-f ]+)\)", trace):
        sent.setdefault(":".join(address), []).append(block.strip())
    return sent


def time_in_commands(trace):
    """Seconds between a command's start and its end, summed up; one at a time is under way."""
    starts, ends = (sum(map(float, re.findall(rf"(\d+\.\d+): scsi_dispatch_cmd_{event}:", trace)))
                    for event in ("start", "done"))
    return ends - starts


def wide(value, size):
    """A big-endian number of size bytes as hexadecimal text."""
    return value.to_bytes(size, "big").hex(" ")


def capacity(check, drive):
    """(last block, block length). For ATA out of the IDENTIFY words: words 60-63 are one 64-bit number, replaced by
    words 100-103 where it is all ones and 48-bit addressing is there. QEMU's words 62-63 are 0007h."""
    seen = check.ran(f"capacity.{drive.address}").out
    length = number(seen, "Logical block length")
    if not drive.is_ata:
        return number(seen, "Last LBA"), length
    words = [int(word, 16) for word in re.findall(r"\b[0-9a-f]{4}\b", check.ran(f"words.{drive.address}").out)]
    blocks = sum(word << 16 * i for i, word in enumerate(words[60:64]))
    if blocks == 0x0FFFFFFF and words[83] & 0xC400 == 0x4400:
        blocks = sum(word << 16 * i for i, word in enumerate(words[100:104]))
    return blocks - 1, length


def discovery_commands(check, drive, is_kept=True):
    """The command blocks that finding a drive takes; the capacity is asked for when it is not dropped before."""
    if drive.is_ata:
        return [IDENTIFY]
    return [IDENTIFY] + serial_page_commands(check, drive) + ([READ_CAPACITY] if is_kept else [])


def serial_page_commands(check, drive):
    """Page 80h is asked for its length, then, unless the drive refuses it, as a whole."""
    page = check.results[f"serial.{drive.address}"]
    lengths = [4] if page.status else [4, 4 + len(re.search(r"Unit serial number: (.*)", page.out)[1])]
    return [f"12 01 80 00 {length:02x} 00" for length in lengths]
