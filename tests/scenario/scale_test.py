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
    def list_drives(self, count):
        """Returns peak memory in KiB and processor seconds of the listing alone. The peak is read while the program
        waits for us to read on: what is accounted for a child at its end has our own memory in it."""
        drives = [f'sd{i},{i % HOSTS},{i // HOSTS},SEAGATE,"ST600MM0006",0003,-,-;' for i in range(count)]
        m = Machine(self, "\n".join(drives), {"Data/Map.txt": "ST600.* .* 0004 x\n", "Data/x": ""}, build=RELEASE).run("-V")
        process = m.start("--list", direct=True, pipesize=4096)
        peak, lines = 0, []
        for line in process.stdout:
            lines.append(line)
            if len(lines) % 50 == 1:
                status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
                peak = max([peak, *(int(kib) for kib in re.findall(r"VmHWM:\s+(\d+) kB", status))])
        _, wait_status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(wait_status)
        m.finish(process)
        self.assertEqual((m.status, len(lines), len(m.commands)), (0, count, 4 * count))
        return peak, used.ru_utime + used.ru_stime

    def test_memory_and_time(self):
        self.assertTrue((RELEASE / "vandrel").exists(), "the release build comes first")
        best = {}
        for count in 100, 256, 1000:
            best[count] = tuple(min(figures) for figures in zip(*(self.list_drives(count) for _ in range(3))))
            print(f"{count} drives: peak {best[count][0]} KiB, {best[count][1]:.3f} s")
        self.assertTrue(0 < best[1000][0] < MAX_PEAK_KIB, best)
        self.assertLess(best[1000][1], MAX_GROWTH * best[100][1])
