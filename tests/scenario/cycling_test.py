"""Unload/load cycling: every byte that a drive is sent, and which drives are left alone."""
import unittest

from machine import Machine

GOOD_LIST = {"Data/ULL": "nothing . . .\n"}
SENSE = ["SCSI in 1a 08 08 00 04 00 len=4 ok", "SCSI in 1a 08 08 00 18 00 len=24 ok"]
SELECT = "SCSI out 15 00 00 00 18 00 len=24 data=17 00 10 00 08 12 0{}" + " 00" * 17 + " ok"


def drive(vendor, words, place="sda,0,0"):
    return f'{place},{vendor},"MODEL",1.00,-,-; {words}\n'


def verify(command, extend, lba):
    return f"ATA none 85 0{6 + extend} 0c 00 00 00 01 {lba} 40 {command} 00 len=0 ok"


def strokes(first, far):
    return [far] + [first, far] * 10


class Cycling(unittest.TestCase):
    maxDiff = None

    def cycle(self, drives):
        """Runs without a drive to flash. Returns the machine, and what sda was sent between discovery, which takes 1
        command for an ATA drive and else 4, and the look at the revision in the end, 1 or 2."""
        m = Machine(self, drives, GOOD_LIST).run("--targets", "sdz,9,9")
        self.assertEqual((m.status, m.out, m.err, m.log), (0, "", "", None))
        return m, m.sent("sda,0,0")[1:-1] if drives.startswith("sda,0,0,ATA") else m.sent("sda,0,0")[4:-2]

    def test_far_end_by_capacity(self):
        for blocks, far in [(0x200000, "08 1f ff ff 01 00"), (0x200001, "28 00 00 20 00 00 00 00 01 00"),
                            (1 << 32, "28 00 ff ff ff ff 00 00 01 00"),
                            ((1 << 32) + 1, "88 00 00 00 00 01 00 00 00 00 00 00 00 01 00 00")]:
            with self.subTest(blocks=blocks):
                m, sent = self.cycle(drive("SEAGATE", f"blocks={blocks} block-length=4096"))
                reads = strokes("SCSI in 08 00 00 00 01 00 len=4096 ok", f"SCSI in {far} len=4096 ok")
                self.assertEqual(sent, [*SENSE, SELECT.format(5), *reads, *SENSE, SELECT.format(4)])
        # Word 63, which tells DMA modes, counts as a part of the capacity: the end is beyond 28 bits, and not the last block.
        bare = "patch=ata-EC:126:0000"
        for blocks, words, command, extend, lba in [
                (0x1000000, "", "42", 1, "00 ff 00 ff 00 ff"), (3907029168, "", "42", 1, "0f fe 00 ff 00 ff"),
                (0x1000000, bare, "40", 0, "00 ff 00 ff 00 ff"), (0xfffffff, bare, "40", 1, "0f fe 00 ff 00 ff"),
                (0x10000000, bare, "40", 1, "0f ff 00 ff 00 ff"), (0x10000001, bare, "42", 1, "10 00 00 00 00 00"),
                (0x123456789ab, bare, "42", 1, "45 aa 23 89 01 67")]:
            with self.subTest(blocks=blocks, words=words):
                m, sent = self.cycle(drive("ATA", f"blocks={blocks} {words}"))
                self.assertEqual(sent, strokes(verify("40", 0, "00 00 00 00 00 00"), verify(command, extend, lba)))

    def test_drives_that_make_trouble(self):
        no_page, gone = "Failed to MODE SENSE Caching mode page 8h\n", "ioctl(SG_IO): No such device\n"
        late = [f"SCSI({code}h): host_status == 3\n" for code in ("08", "28")]
        cases = [  # words, reads and MODE SELECTs that reached the drive, what is said
            ("read-cache-disabled", 21, 0, ""),
            ("refuse=1A", 21, 0, no_page * 2),
            ("refuse=15", 21, 1, "Failed to MODE SELECT Caching mode page 8h\n"),
            ("answer=1A:ff0000ff", 21, 0, no_page * 2),
            ("answer=1A:00", 21, 0, no_page * 2),
            ("answer=1A:050000008801", 21, 0, no_page * 2),  # ends where the bit should follow
            ("answer=1A:0600000188010000", 21, 0, no_page * 2),  # begins a byte later
            ("answer=1A:0a00000400000200880100", 21, 1, "Failed to MODE SELECT Caching mode page 8h\n"),
            ("refuse=08,28", 21, 2, ""),
            ("hang=08,28", 21, 2, late[1] + (late[0] + late[1]) * 10),
            ("enodev=1A,08,28", 21, 0, gone + no_page + gone * 22 + no_page),
            ("block-length=0", 21, 2, ""),
            ("block-length=0xffffffff", 0, 2, "ioctl(SG_IO): Invalid argument\n" * 21),
        ]
        for words, reads, selects, said in cases:
            with self.subTest(words):
                m, sent = self.cycle(drive("SEAGATE", words) + drive("ATA", "", "sdb,1,0"))
                codes = [line.split()[2] for line in sent]
                self.assertEqual((codes.count("08") + codes.count("28"), codes.count("15")), (reads, selects))
                self.assertEqual(m.diagnostics.count("*** Caching mode page 8h (post):"), selects)
                told = [line for line in m.diagnostics.splitlines(True) if line[8:9] != ":" and line[:3] != "***"]
                drives = "ULL sda [0,0] - SEAGATE/MODEL/1.00\n", "ULL sdb [1,0] - ATA/MODEL/1.00\n"
                self.assertEqual("".join(told), drives[0] + said + drives[1])
                self.assertEqual(len(m.sent("sdb,1,0")), 1 + 21 + 1)

    def test_list_that_does_not_load(self):
        heading = '*** do_unload_load_cycles(mapname="R//Data/ULL", reldir="R")\n'
        for content, said in [("", ""), ("# none\n", ""), (None, "R//Data/ULL: No such file or directory\n"),
                              ("good . . .\nST.*\n", "Bad pattern in line 2\n"),
                              ("good . . .\n( . . .\n", "Error in pattern line 2: Unmatched ( or \\(\n")]:
            with self.subTest(content):
                m = Machine(self, drive("ATA", ""), {"Data/ULL": content or ""}).run("-V")
                if content is None:
                    (m.root / "Data/ULL").unlink()
                m.run("--targets", "sdz,9,9", direct=True)
                self.assertEqual((m.status, m.out, m.diagnostics), (0, "", heading + said))
                self.assertEqual([command.split()[-4] for command in m.commands], ["ec", "ec"])
