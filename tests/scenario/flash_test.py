"""The flashing tool that ships, on drives that are strict: which commands it sends in which case, and how it ends."""
import subprocess
import unittest

from machine import BUILD, Machine

ATA, SCSI = 'sda,2,5,ATA,"MODEL-A",SN04,-,-; {}\n', 'sda,2,5,SEAGATE,"MODEL-S",0003,-,-; {}\n'
SIZE = 100 * 1024 + 512  # three segments of 32 KiB and one of 4.5 KiB
PARTS = [0, 0x8000, 0x10000, 0x18000]


def image(revision, size=SIZE):
    return f"revision={revision}\nsize={size}\n".encode().ljust(size, b".")


def write_buffer(mode, *offsets, size=0x8000, total=SIZE):
    return [f"3b {mode:02x} 00 {at:06x} {min(size, total - at):06x} 00" for at in offsets]


def microcode(mode, *offsets, code="92", protocol="0a", size=0x8000):
    return [f"85 {protocol} 06 {mode:02x} {min(size, SIZE - at) // 512:04x} {at // 512:04x} {code}" for at in offsets]


class Flash(unittest.TestCase):
    maxDiff = None

    def flash(self, drive, *options, content=None, size=SIZE, host=2, target=5):
        """A machine on which the tool has run. sent: the downloads among its commands, their fields of more than a byte
        each as one number."""
        m = Machine(self, drive).run("-V")
        (m.dir / "image").write_bytes(image("0004" if "MODEL-S" in drive else "SN06", size) if content is None else content)
        command = [BUILD / "vandrel-fw-download", f"-b{host}", f"-t{target}", "-l", m.dir / "image", "-n", *options]
        done = subprocess.run(command, env=m.environment(inside=True), capture_output=True, timeout=60, text=True)
        m.result, m.said, m.complaints = done.returncode, done.stdout, done.stderr
        m.sent_downloads = []
        for line in m.commands:
            words = line.split()
            if words[3:4] == ["3b"]:
                b = words[3:13]
                m.sent_downloads.append(f"3b {b[1]} {b[2]} {''.join(b[3:6])} {''.join(b[6:9])} {b[9]}")
            elif words[3:4] == ["85"] and words[17] in ("92", "93"):
                b = words[3:19]
                m.sent_downloads.append(f"85 {b[1]} {b[2]} {b[4]} {b[8]}{b[6]} {b[12]}{b[10]} {b[14]}")
        received = list((m.dir / "state").glob("*.image"))
        m.received = received[0].read_bytes() if received else None
        return m

    def test_ways_of_sending(self):
        once = write_buffer(5, 0, size=SIZE)
        deferred = write_buffer(0x0E, *PARTS) + write_buffer(0x0F, 0, total=0)
        ata = microcode(3, *PARTS)
        for drive, sent, status in [
                (SCSI.format(""), write_buffer(7, *PARTS), 0),
                (SCSI.format("fw-boundary=16"), write_buffer(7, 0, 0x10000, size=0x10000), 0),
                (SCSI.format("fw-modes=05"), once, 0),
                (SCSI.format("fw-modes=05 refuse=A3"), write_buffer(7, 0) + once, 0),  # nobody told: refused at once
                (SCSI.format("fw-modes=0E,0F"), deferred, 0),
                (SCSI.format("fw-modes=0E,0F fw-busy=0.1"), deferred, 0),
                (SCSI.format("fw-attention=1 attention=0x2900"), write_buffer(7, *PARTS), 0),  # told to a question
                (SCSI.format("fw-attention=3"), write_buffer(7, 0, 0x8000, 0x10000, 0x10000, 0x18000), 0),
                (SCSI.format("fw-reset=3"), write_buffer(7, 0, 0x8000, 0x10000, 0x10000), 1),  # what it had is lost
                (SCSI.format("fw-busy=0.1 failing"), write_buffer(7, *PARTS), 0),
                (SCSI.format("sense=3B0700000000:700005000000000a000000002600"), write_buffer(7, 0), 1),  # the content
                (SCSI.format("refuse=3B0700018000"), write_buffer(7, *PARTS), 1),  # a mode that has begun is never changed
                (SCSI.format("status=3B0700008000:8"), write_buffer(7, 0, 0x8000), 1),
                (SCSI.format("hang=3B0700008000"), write_buffer(7, 0, 0x8000), 1),
                (SCSI.format("enodev=3B0700010000"), write_buffer(7, *PARTS[:3]), 1),
                (SCSI.format("sense=3B0700008000:7000010000000000000000001700"), write_buffer(7, *PARTS), 0),  # recovered
                (ATA.format("patch=1200:8:58"), ata, 0),  # by the ATA Information page, not by the vendor
                (ATA.format("patch=1200:8:58 sense=ata-EC:70000b000000000a0441e001000000000000"), [], 6),
                (ATA.format("patch=1200:8:58 sense=85:700005000000000a000000002000"),  # which alone makes no ATA drive
                 write_buffer(7, 0) + write_buffer(5, 0, size=SIZE), 1),
                (SCSI.format("fw-modes=04"), [], 6),
                (SCSI.format("fw-capacity=65536"), [], 4),
                (ATA.format(""), ata, 0),
                (ATA.format("fw-dma"), microcode(3, *PARTS, code="93", protocol="0c"), 0),
                (ATA.format("fw-dma refuse=ata-93"), microcode(3, 0, code="93", protocol="0c") + ata, 0),
                (ATA.format("fw-dma sense=ata-93:70000b000000000a0441e001000000000000"),  # as kernels before 6.7 tell it
                 microcode(3, 0, code="93", protocol="0c") + ata, 0),
                (ATA.format("fw-dma sense=ata-93:f0000b8451e0010a000000000000"), microcode(3, 0, code="93", protocol="0c"), 1),
                (ATA.format("no-identify"), [], 6), (ATA.format("host-status=ata-EC:14"), [], 1),
                (ATA.format("fw-blocks=1-16"), microcode(3, *range(0, SIZE, 0x2000), size=0x2000), 0),
                (ATA.format("fw-modes=07"), microcode(7, 0, size=SIZE), 0),
                (ATA.format("fw-modes=0E,0F"), microcode(0x0E, *PARTS) + ["85 06 00 0f 0000 0000 92"], 0),
                (ATA.format("fw-blocks=300-400"), microcode(7, 0, size=SIZE), 0),
                (ATA.format("patch=ata-EC:166:0074 patch=ata-EC:172:00b4"), [], 6)]:
            with self.subTest(drive):
                m = self.flash(drive)
                self.assertEqual((m.sent_downloads, m.result), (sent, status), m.complaints)
                if status == 0:
                    old, new = ("SN04", "SN06") if "ATA" in drive else ("0003", "0004")
                    self.assertEqual((m.received, m.said.splitlines()[-1]),
                                     (image(new), f"{old} -> {new}"))

    def test_what_is_said(self):
        m = self.flash(SCSI.format("fw-busy=0.1 failing"))
        self.assertIn("the drive reports an imminent failure\n", m.said)
        self.assertIn("25 % sent, segment 1 of 4\n", m.said)
        m = self.flash(SCSI.format("hang=3B0700008000"))
        self.assertRegex(m.complaints, r"segment 2 of 4 \(mode 07h, 32768 bytes from 32768 on\): host: .*TIME_OUT")
        m = self.flash(SCSI.format("status=3B0700018000:8"))
        self.assertIn("segment 4 of 4 (mode 07h, 4608 bytes from 98304 on): drive: Busy", m.complaints)
        m = self.flash(ATA.format("flash-needs-power-cycle"))
        self.assertEqual((m.result, m.said.splitlines()[-1]),
                         (0, "SN04 still runs: a power cycle is needed for the new firmware"))
        m.run("--list", launch=["--power-cycle"])
        self.assertIn(",SN06,", m.out)
        m = self.flash(SCSI.format("fw-modes=0E,0F refuse=3B0F"))  # deferred firmware needs the command or the power
        for options, rev in ([], "0003"), (["--power-cycle"], "0004"):
            self.assertEqual(m.run("--list", launch=options).out.split(",")[5], rev)
        m = self.flash(SCSI.format(""), "-D", "-D")
        self.assertIn("    0000  3b 07 00 00 80 00 00 80 00 00\n", m.complaints)
        self.assertIn("Microcode has been changed (6/3F/01)", m.complaints)

    def test_nothing_is_sent(self):
        in_use = "vandrel-fw-download: the drive is in use: sda is mounted on /srv/sda\nvandrel-fw-download: nothing was sent\n"
        for drive, how, status, said in [
                (SCSI.format("in-use"), {}, 5, in_use), (SCSI.format(""), {"target": 4}, 3, "no disk at host 2, target 4"),
                (SCSI.format("type=5"), {}, 3, "no disk at"), (SCSI.format("") * 2, {}, 3, "more than one disk"),
                (SCSI.format(""), {"content": b""}, 4, "empty"), (ATA.format(""), {"size": 1000}, 4, "1000 bytes"),
                (SCSI.format("no-generic"), {}, 3, "is the module sg loaded?"),
                (SCSI.format("refuse=12"), {}, 1, "does not answer INQUIRY")]:
            with self.subTest(drive, **how):
                m = self.flash(drive, **how)
                self.assertEqual((m.result, m.sent_downloads), (status, []), m.complaints)
                self.assertIn(said, m.complaints)
        for wrong in ["-x"], ["more"], ["-b", "-1"]:
            self.assertEqual(self.flash(SCSI.format(""), *wrong).result, 2)

    def test_whole_road(self):
        drives = ATA.format("") + SCSI.format("fw-busy=0.1").replace("sda,2,5", "sdb,2,6") + ATA.format(
            "in-use").replace("sda,2,5", "sdc,2,7")
        files = {"Data/Map.txt": "MODEL-A SN04 SN06 a.lod\nMODEL-S .* 0004 s-0004.lod\n", "Data/a.lod": image("SN06"),
                 "Data/s-0004.lod": b"no header".ljust(SIZE, b".")}
        m = Machine(self, drives, files).run("--targets", "ALL")
        self.assertEqual((m.status, m.out), (0, "sda,2,5,SUCCESS,SN04,SN06;\nsdb,2,6,SUCCESS,0003,;\n"
                                                "sdc,2,7,FAILED,SN04,SN04;\n"))
        self.assertEqual([m.log.count(text) for text in ("SN04 -> SN06\n", "0003 -> 0004\n", "failed with status 5")],
                         [1, 1, 7])
        m.run("--list")
        self.assertEqual([line.split(",")[5] for line in m.out.splitlines()], ["SN06", "0004", "SN04"])
