"""Firmware into drives of a real kernel: the tool that ships against others, the whole road, and disks in use."""

import re

from reference import commands, lsscsi

USES = [r"sd.+1 is mounted on /mnt", "sd.+ is swap space", "sd.+ is part of LVM volume volume", "sd.+ is part of md set md7"]


def devices():
    return []


def downloads(log, drive):
    return re.findall(rf"^{drive} \w+ out ((?:3b|85)(?: \w\w)+) len=(\d+) .* (ok|check=\S+)$", log, re.M)


def verify(check):
    check.same("drives", 12, len(lsscsi(check.ran("lsscsi").out)))
    images = re.findall(r"^(\w{64})", check.ran("images").out, re.M)
    for drive, image in enumerate((0, 0, 1, 1)):
        check.same(f"image received by drive {drive}", images[image], check.ran(f"received.{drive}").out[:64])
    check.same("what is said of revisions", ["0001 -> 0002", "AA01 -> AA02"],
               [check.ran(name).out.splitlines()[-1] for name in ("sas.ours", "sata.ours")])
    for name in "sas.theirs", "sata.theirs":
        check.ran(name)
    log = check.ran("commands").out
    ours, theirs = (downloads(log, drive) for drive in ("sda,0,0", "sdb,0,1"))
    check.same("WRITE BUFFER commands of both tools", theirs, ours)
    check.same("segments", 4, len(ours))
    check.same("DOWNLOAD MICROCODE: blocks sent", 400, sum(int(size) for _, size, _ in downloads(log, "sdc,0,2")) // 512)
    refused = check.results["refused"]
    check.same("refused at the second segment", (1, 2), (refused.status, len(downloads(log, "sdg,0,6"))))
    check.same("who refused", True, "segment 2 of 4" in refused.err and ": drive: Illegal Request" in refused.err)

    check.same("result lines", ["SUCCESS,0001,", "SUCCESS,AA01,AA02"],
               [line.split(",", 3)[3].rstrip(";") for line in check.ran("road").out.splitlines()])
    check.same("revisions afterwards", ["0002", "AA02"],
               [line.split(",")[5] for line in check.ran("road.list").out.splitlines() if "WHOLE ROAD" in line])
    for i, use in enumerate([*USES, None], 1):
        result = check.results[f"used.{i}"]
        if use:
            check.same(f"status for disk {i}, {result.err}", 5, result.status)
            check.same(f"its use, {result.err}", True, bool(re.search(f"the drive is in use: {use}\n", result.err)))
            check.same(f"commands sent to disk {i}", {}, commands(check.ran(f"used.{i}.trace").out))
        else:
            check.same(f"status for a disk that nobody uses, {result.err}", 0, result.status)
