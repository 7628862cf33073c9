"""Which drives are found, what is said about the others, and what is asked of each."""
import re
import shutil
import time
import unittest

from machine import Machine

ATA = 'sda,{h},0,ATA,"ST4000NM0033-9ZM170",SN04,-,-; '
SAS = 'sda,{h},0,SEAGATE,"ST600MM0006",0003,-,-; '
X15 = 'sda,{h},0,Seagate,"X15",1.00,-,-;'
HGST = 'sda,{h},0,HGST,"HUS724030ALS640",A1C4,-,-; '
ATA_LINE = 'sda,{h},0,ATA,"ST4000NM0033-9ZM170",SN04,SN06,"x-SN06.lod";\n'
ATA_BY_INQUIRY = 'sda,{h},0,ATA,"ST4000NM0033-9ZM",SN04,SN06,"x-SN06.lod";\n'
SAS_LINE = 'sda,{h},0,SEAGATE,"ST600MM0006",0003,-,-;\n'
HGST_LINE = 'sda,{h},0,HGST,"HUS724030ALS640",A1C4,A280,"y.bin";\n'
REGISTERS = "7201001d0000000e" "090c0000000100000000000" "0a050"  # ATA status return, sector count 1, status 50h
FILES = {"Data/Map.txt": "ST4000.* SN04 SN06 a/x-SN06.lod\nHUS.* A1C4 A280 y.bin\n",
         "Data/a/x-SN06.lod": "", "Data/y.bin": ""}

AFTER_RESET = ATA + "attention=0x2900"  # told once, in place of the drive's identity
ROWS = [  # drives of one host, their lines in the listing, a line of the trace between theirs
    (ATA, ATA_LINE, 'Adding new sda [{h},0] V=ATA M=ST4000NM0033-9ZM170 R=SN04 I=(null)'),
    (SAS + "serial=S0M12345XYZ", SAS_LINE, 'Vendor="SEAGATE", Model="ST600MM0006", Rev="0003", Serial="S0M12345"'),
    (SAS + "host-driver=usb-storage", "", "{h}:0:0:0 is USB"),
    (ATA + "host-driver=MegaRAID_SAS2", "", "{h}:0:0:0 is USB"),
    (HGST + "host-driver=none", HGST_LINE, None),
    (HGST + "host-driver=usb", HGST_LINE, None),
    ('sda,{h},0,LSILOGIC,"MR9260-8i",2.13,-,-;', "", None),
    ('sda,{h},0,lsi,"MR9260-8i",2.13,-,-;', 'sda,{h},0,lsi,"MR9260-8i",2.13,-,-;\n', None),
    (HGST + "serial=SAME4567X\n" + HGST + "serial=SAME4567X", HGST_LINE, None),
    (HGST + "serial=LIKE4567X\n" + HGST + "serial=LIKE4567Y", HGST_LINE * 2, None),
    (X15 + " serial=SAME4567X\n" + X15 + " serial=SAME4567Y", X15 + "\n", None),  # told apart by 8 characters
    ('sda,{h},0,X,"st1",1.00,-,-; serial="  ABCDEFGHIJ"', 'sda,{h},0,X,"st1",1.00,-,-;\n', 'Vendor="X", Model="st1", Rev="1.00", Serial="ABCDEFGH"'),
    ('sdb,{h},10,A,"B",1,-,-;\nsda,{h},9,A,"B",2,-,-;', 'sda,{h},9,A,"B",2,-,-;\nsdb,{h},10,A,"B",1,-,-;\n', None),
    (SAS + "type=5", "", "{h}:0:0:0 is not a DISK but type 5"),
    (SAS + "type=5 no-attribute=type", SAS_LINE, None),
    (SAS + "no-generic", "", "Failed to read generic device link"),
    (SAS + "no-node", "", "/dev/sg{n}: No such file or directory"),
    (SAS + "gone-after=0", "", "/dev/sg{n}: No such device or address"),
    (SAS + "no-block", SAS_LINE.replace("sda", "sdX"), "Cannot determine block name of {h}:0:0:0"),
    (SAS + "old-block-link", SAS_LINE, None),
    (SAS + "no-attribute=vendor,model,rev", 'sda,{h},0,(null),"(null)",(null),-,-;\n', None),
    (HGST + "refuse=1201", HGST_LINE, 'Vendor="HGST", Model="HUS724030ALS640", Rev="A1C4", Serial="<unknown>"'),
    (HGST + "answer=1201800004:0080ffff", HGST_LINE, 'Vendor="HGST", Model="HUS724030ALS640", Rev="A1C4", Serial=""'),
    (SAS + "answer=120180:00", SAS_LINE, 'Vendor="SEAGATE", Model="ST600MM0006", Rev="0003", Serial=""'),
    (SAS + "refuse=9E", SAS_LINE, "READ CAPACITY(16) failed, trying READ CAPACITY(10)"),
    (SAS + "status=9E:8", SAS_LINE, "SCSI(9Eh): masked_status == 4"),
    (SAS + "refuse=9E,25", "", "SCSI(25h): masked_status == 1"),
    (SAS + "answer=9E:00", SAS_LINE, None),
    (SAS + "driver-status=any:1", "", "SCSI(25h): driver_status == 1"),
    (SAS + "hang=any", "", "SCSI(25h): host_status == 3"),
    (SAS + "enodev=any", "", "ioctl(SG_IO): No such device"),
    (ATA + "hang=any", ATA_BY_INQUIRY, "SATA(ECh): host_status == 3"),
    (ATA + "no-identify", ATA_BY_INQUIRY, "SATA(ECh): masked_status == 1"),
    (ATA + "sense=ata-EC:" + REGISTERS, ATA_LINE, "    status=50"),
    (ATA + "sense=ata-EC:700101", ATA_BY_INQUIRY, None),  # that key counts in the other format only
    (AFTER_RESET, ATA_BY_INQUIRY, "SATA(ECh): masked_status == 1"),
    (SAS + "attention=0x3f01", SAS_LINE, None),
    (ATA + "short=ata-EC:60", ATA_LINE.replace("NM0033-9ZM170", ""), None),
    (ATA + "patch=ata-EC:54:00", 'sda,{h},0,ATA,"S",SN04,-,-;\n', None),  # a NUL ends the text
]


class Listing(unittest.TestCase):
    maxDiff = None

    def test_mixed_machine(self):
        drives = "".join(row[0].format(h=h) + "\n" for h, row in enumerate(ROWS))
        expected = "".join(row[1].format(h=h) for h, row in enumerate(ROWS))
        m = Machine(self, drives, FILES).run("--list", "-v")
        self.assertEqual((m.status, m.out, m.diagnostics), (0, expected, None))
        parts = re.split(r'^Entry "(\d+):.*"\n', m.err, flags=re.M)
        nodes = [int(line.split(",")[1]) for line in drives.splitlines()]
        for host, (drive, _, said) in enumerate(ROWS):
            trace = "".join(part for h, part in zip(parts[1::2], parts[2::2]) if h == str(host))
            with self.subTest(drive.format(h=host)):
                self.assertIn((said or "").format(h=host, n=nodes.index(host)), ["", *trace.splitlines()])

        identify = "ATA in 85 08 0e 00 00 00 01 00 00 00 00 00 00 00 ec 00 len=512 "
        serial = ["SCSI in 12 01 80 00 04 00 len=4 ok", "SCSI in 12 01 80 00 0c 00 len=12 ok"]
        capacity = "SCSI in 9e 10 00 00 00 00 00 00 00 00 00 00 00 0c 00 00 len=12 ok"
        for words, sent in {
                ATA: [identify + "ok"],
                SAS + "attention=0x3f01": [identify + "check=06/3f/01", *serial, capacity],
                SAS + "host-driver=usb-storage": [], SAS + "type=5": [],
                SAS + "refuse=9E,25": [identify + "check=05/20/00", *serial, capacity.replace("ok", "check=05/20/00"),
                                       "SCSI in 25 00 00 00 00 00 00 00 00 00 len=12 check=05/20/00"]}.items():
            self.assertEqual(m.sent(f"sda,{[row[0] for row in ROWS].index(words)},0"), sent)

        quiet = m.run("--list")
        once = [row[0] for row in ROWS].index(AFTER_RESET)
        expected = expected.replace(ATA_BY_INQUIRY.format(h=once), ATA_LINE.format(h=once))
        self.assertEqual((quiet.status, quiet.out, quiet.err), (0, expected, ""))
        said = re.sub(r"(?<=sg)\d+|\d+(?=:0:0:0)", "N", quiet.diagnostics).splitlines()
        self.assertEqual({line for line in said if not re.match("[0-9a-f]{8}:", line)}, {
            "*** CDB:", "/dev/sgN: No such file or directory", "/dev/sgN: No such device or address",
            "Cannot determine block name of N:0:0:0", "SATA(ECh): driver_status == 1", "SATA(ECh): host_status == 3",
            "ioctl(SG_IO): No such device",
            *(f"SCSI({code}h): {what}" for code in ("12", "9E", "25")
              for what in ("driver_status == 1", "host_status == 3"))})

    def test_slow_drives_are_waited_for_at_the_same_time(self):
        m = Machine(self, "".join(f'sda,{h},0,A,"B",1,-,-; command-ms=200\n' for h in range(32))).run("-V")
        begin = time.monotonic()
        m.run("--list", direct=True)
        self.assertEqual(m.out.count("\n"), 32)
        self.assertTrue(0.8 <= time.monotonic() - begin < 12.8, "4 commands take 0.8 s, those of 32 drives 25.6 s")

    def test_drive_that_cannot_keep_its_state(self):
        m = Machine(self, SAS.format(h=0) + "attention=0x3f01\n").run("-V")
        shutil.rmtree(m.dir / "state")
        (m.dir / "state").touch()
        m.run("--list", direct=True)
        self.assertEqual((m.out, m.diagnostics.count("ioctl(SG_IO): Input/output error\n")), ("", 3))

    def test_machine_without_drives(self):
        for without, said in (["sysfs"], "/sys/class/scsi_device: No such file or directory\n"), ([], ""):
            for args in ["--list"], ["--targets", "ALL"]:
                m = Machine(self, "", FILES).run(*args, without=without)
                heading = "" if "--list" in args else '*** do_unload_load_cycles(mapname="R//Data/ULL", reldir="R")\n'
                self.assertEqual((m.status, m.out, m.err, m.diagnostics), (0, "", "", said + heading))
