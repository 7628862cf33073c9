"""What a listing of many drives costs, measured on the release build."""
import os
import pathlib
import re
import unittest

from machine import BUILD, Machine

RELEASE = BUILD.parent / "release"
MAX_PEAK_KIB = 16 * 1024
MAX_GROWTH = 15  # in time, from 100 drives to 1000; 10 would be linear
HOSTS = 40


class Scale(unittest.TestCase):
    def list_drives(self, m, count):
        """Returns peak memory in KiB and processor seconds of the listing alone. The peak is read while the program
        waits for us to read on: what is accounted for a child at its end has our own memory in it."""
        (m.dir / "commands.log").unlink(missing_ok=True)
        process = m.start("--list", direct=True, pipesize=4096)
        peak, lines = 0, []
        for line in process.stdout:
            lines.append(line)
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            peak = max([peak, *map(int, re.findall(r"VmHWM:\s+(\d+) kB", status))])
        _, wait_status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(wait_status)
        m.finish(process)
        self.assertEqual((m.status, len(lines), len(m.commands)), (0, count, 4 * count))
        return peak, used.ru_utime + used.ru_stime

    def test_memory_and_time(self):
        self.assertTrue((RELEASE / "vandrel").exists(), "the release build comes first")
        peak, seconds = {}, {}
        for count in 100, 256, 1000:
            drives = [f'sd{i},{i % HOSTS},{i // HOSTS},SEAGATE,"ST600MM0006",0003,-,-;\n' for i in range(count)]
            files = {"Data/Map.txt": "ST600.* .* 0004 x\n", "Data/x": ""}
            m = Machine(self, "".join(drives), files, build=RELEASE).run("-V")
            runs = [self.list_drives(m, count) for _ in range(3)]
            peak[count], seconds[count] = max(run[0] for run in runs), min(run[1] for run in runs)
            print(f"{count} drives: peak {peak[count]} KiB, {seconds[count]:.3f} s")
        self.assertTrue(0 < peak[1000] < MAX_PEAK_KIB)
        self.assertLess(seconds[1000], MAX_GROWTH * seconds[100])
