"""What the kernel says of a disk: who uses it, and what the drive itself answers to INQUIRY."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import ctypes
import errno
import fcntl
import glob
import os
import re
import stat

SG_IO = 0x2285
DATA_IN = -3
DRIVER_MASK = 0x7  # without DRIVER_SENSE, which comes with a good answer, too
INQUIRY = (0x12, 0, 0, 0, 36, 0)


class SgIoHdr(ctypes.Structure):
    """sg_io_hdr of <scsi/sg.h>."""
    _fields_ = [
        ("interface_id", ctypes.c_int), ("dxfer_direction", ctypes.c_int), ("cmd_len", ctypes.c_ubyte),
        ("mx_sb_len", ctypes.c_ubyte), ("iovec_count", ctypes.c_ushort), ("dxfer_len", ctypes.c_uint),
        ("dxferp", ctypes.c_void_p), ("cmdp", ctypes.c_void_p), ("sbp", ctypes.c_void_p), ("timeout", ctypes.c_uint),
        ("flags", ctypes.c_uint), ("pack_id", ctypes.c_int), ("usr_ptr", ctypes.c_void_p), ("status", ctypes.c_ubyte),
        ("masked_status", ctypes.c_ubyte), ("msg_status", ctypes.c_ubyte), ("sb_len_wr", ctypes.c_ubyte),
        ("host_status", ctypes.c_ushort), ("driver_status", ctypes.c_ushort), ("resid", ctypes.c_int),
        ("duration", ctypes.c_uint), ("info", ctypes.c_uint)]


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read().decode("utf-8", "replace")
    except OSError:
        return ""


def disk_numbers(root, disk):
    """{"major:minor": name} of the disk and its partitions."""
    paths = glob.glob("%s/sys/block/%s/dev" % (root, disk)) + glob.glob("%s/sys/block/%s/%s*/dev" % (root, disk, disk))
    return dict((read(path).strip(), os.path.basename(os.path.dirname(path))) for path in paths)


def unescape(path):
    """mountinfo writes blanks and backslashes in octal."""
    return re.sub(r"\\([0-7]{3})", lambda match: chr(int(match.group(1), 8)), path)


def mounts(root, numbers, names):
    for line in read(root + "/proc/self/mountinfo").splitlines():
        fields, dash, source = line.partition(" - ")
        fields, source = fields.split(" "), source.split(" ")
        if len(fields) < 5 or len(source) < 2:
            continue
        if fields[2] in numbers or source[1] in names:
            yield "mounted on " + unescape(fields[4])


def probe(path):
    """Opens the node as somebody who wants the disk for himself: ZFS members and what else has no holder show here."""
    try:
        if not stat.S_ISBLK(os.stat(path).st_mode):
            return
        os.close(os.open(path, os.O_RDONLY | os.O_EXCL | os.O_NONBLOCK))
    except OSError as error:
        yield "held exclusively" if error.errno == errno.EBUSY else "can't be probed: " + os.strerror(error.errno)


def disk_use(root, disk):
    """Reasons for which the disk is in use, the first one the plainest; empty when the kernel knows of none. `root`
    holds proc, sys and dev: "" but in a rehearsal."""
    if not os.path.isdir("%s/sys/block/%s" % (root, disk)):
        return ["its block device is unknown"]
    numbers = disk_numbers(root, disk)
    names = set("/dev/" + name for name in numbers.values()) | set(["/dev/" + disk])
    uses = list(mounts(root, numbers, names))
    for line in read(root + "/proc/swaps").splitlines()[1:]:
        if line.split()[:1] and line.split()[0] in names:
            uses.append("swap on " + line.split()[0])
    folder = "%s/sys/block/%s" % (root, disk)
    for holder in glob.glob(folder + "/holders/*") + glob.glob("%s/%s*/holders/*" % (folder, disk)):
        name = os.path.basename(holder)
        kinds = [kind for kind in ("dm", "md") if os.path.isdir("%s/%s" % (holder, kind))] + ["holder"]
        kind = read(holder + "/dm/uuid").strip().split("-")[0] or kinds[0]
        uses.append("held by %s (%s)" % (read(holder + "/dm/name").strip() or name, kind))
    return uses or list(probe("%s/dev/%s" % (root, disk)))


def ask(disk, command, size):
    """The drive's answer to a command block that reads `size` bytes, or none where it can't be asked or answers less."""
    cdb = (ctypes.c_ubyte * len(command))(*command)
    data, sense = ctypes.create_string_buffer(size), ctypes.create_string_buffer(32)
    header = SgIoHdr(interface_id=ord("S"), dxfer_direction=DATA_IN, cmd_len=len(command), mx_sb_len=32, dxfer_len=size,
                     dxferp=ctypes.addressof(data), cmdp=ctypes.addressof(cdb), sbp=ctypes.addressof(sense),
                     timeout=20000)
    try:
        node = os.open("/dev/" + disk, os.O_RDONLY | os.O_NONBLOCK)
    except OSError:
        return b""
    try:
        fcntl.ioctl(node, SG_IO, header)
    except OSError:
        return b""
    finally:
        os.close(node)
    failed = header.status or header.host_status or header.driver_status & DRIVER_MASK or header.resid
    return b"" if failed else data.raw


def drive_id(root, disk):
    """The drive's world-wide name or what else it is known by on each of its paths; empty where the kernel has none."""
    return read("%s/sys/block/%s/device/wwid" % (root, disk)).strip()


def inquiry_revision(disk):
    """The product revision level (SPC, standard INQUIRY bytes 32 to 35) as the drive tells it now: the kernel keeps the
    one of its first look. Empty when it can't be asked."""
    return ask(disk, INQUIRY, 36)[32:36].decode("ascii", "replace").strip()
