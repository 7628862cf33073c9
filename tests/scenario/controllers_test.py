"""Drives behind controllers: which libraries and drives are found, and whole runs on them."""
import re
import unittest

from machine import Machine
from update_test import script_with

VARIANTS = {"libstorelib.so": "ProcessLibCommand", "libstorelibir.so": "ProcessLibCommandIR",
            "libstorelibir-2.so": "ProcessLibCommandIR2", "libstorelibir-3.so": "ProcessLibCommandIR3"}
DIRS = ["lib64", "usr/lib64", "usr/local/lib64"]

FAULTS = [  # what is wrong with controller 0 | and 1; controllers that are found all the same; what is said
    ("", "012", ""),
    ("status=lib-init:0x8002", "2", "libstorelib.so::ProcessLibCommand failed, INIT failed\n"),
    ("status=lib-init:0x800C", "2", "libstorelib.so::ProcessLibCommand: The data size did not match the minimum buffer "
                                    "size required by the command\n"),
    ("status=lib-init:0x801E", "2", "ProcessLibCommand failed: libsysfs.so.2.0.1 not found\n"),
    ("status=lib-init:0x802B", "2", "User Access level incorrect, administrator privilege required; rval = 0x802B\n"),
    ("status=lib-init:0x802C", "2", "ProcessLibCommand failed: libpci.so.2.2.8 not found\n"),
    ("status=lib-init:0x800A", "2", "ProcessLibCommand failed, rval = 0x800A\n"),
    ("patch=lib-init:0:0000", "2", ""),
    ("patch=lib-init:0:ffff", "012", "Invalid controller 0\n" * 62),  # a list has room for 64
    ("no-entry-point|library=usr/lib64/libstorelib.so", "12", ""),
    ("status=lib-ctrl-info:0x800A", "12", "Invalid controller 16777216\n"),
    ("status=lib-ctrl-info:7", "12", "init_storelib: ProcessLibCommandCall(SL_GET_CTRL_INFO) failed, rval = 0x7\n"),
    ("status=lib-pd-list:0x800A", "12", "Invalid controller\n"),
    ("status=lib-pd-list:13", "12", "Error getting Physical Drive List: 0xd\n"),
]

ATA = '{c},{c},0,ATA,"ST4000NM00{c:02}-9ZM170",SN04,-,-; '  # one model a row: some do not tell their serial number
ATA_LINE = '{c},{c},0,ATA,"ST4000NM00{c:02}-9ZM170",SN04,SN06,"x-SN06.lod";\n'
ATA_BY_INQUIRY = '{c},{c},0,ATA,"ST4000NM00{c:02}-9ZM",SN04,SN06,"x-SN06.lod";\n'
SAS = '{c},{c},0,HGST,"HUS{c}ALS640",A1C4,-,-; '
SAS_LINE = '{c},{c},0,HGST,"HUS{c}ALS640",A1C4,A280,"y.bin";\n'
X15 = '{c},{c},0,SEAGATE,"X15 {c}",1.00,-,-;'
FILES = {"Data/Map.txt": "ST4000.* SN04 SN06 a/x-SN06.lod\nHUS.* A1C4 A280 y.bin\n", "Data/a/x-SN06.lod": "",
         "Data/y.bin": ""}

ROWS = [  # drives of one controller or two, their lines in the listing, a line of the trace
    (SAS, SAS_LINE, "    interfaceType=SAS (2)"),
    (SAS + "interface=1", SAS_LINE, "    interfaceType=parallel SCSI (1)"),
    (ATA, ATA_LINE, "    interfaceType=SATA (3)"),
    (ATA, ATA_LINE, " Before IDENTIFY DEVICE: Command=ECh Feature=0000h LBA=0h Device=00h"),
    (ATA, ATA_LINE, "  After IDENTIFY DEVICE: Command=50h Feature=0000h LBA=0h Device=00h"),
    (X15 + " interface=4", X15 + "\n", "    interfaceType=FC (4)"),
    (X15 + " interface=0", X15 + "\n", "    interfaceType=Unknown (0)"),
    (ATA + "interface=15", ATA_BY_INQUIRY, "    interfaceType=Not defined (15)"),
    (SAS + "type=13", "", "    Not a DISK (type=13)"),
    (SAS + "gone-after=0", "", "    SL_GET_PD_INFO failed: 0xc"),
    (SAS + "patch=lib-pd-list:4:ffffffff", SAS_LINE, "    511: deviceId=0 sasAddr=0/0"),
    (SAS + "patch=lib-pd-list:4:00", "", None),
    (SAS + "short=lib-pd-list:8", "", "    SL_GET_PD_INFO failed: 0xc"),
    (SAS + "serial=ABCDEFGHIJ", SAS_LINE,
     'Vendor="HGST", Model="HUS{c}ALS640", Rev="A1C4", Serial="ABCDEFGHIJ"'),
    (X15 + " serial=ABCDEFGHIJ", X15 + "\n", 'Vendor="SEAGATE", Model="X15 {c}", Rev="1.00", Serial="ABCDEFGH"'),
    (SAS + "answer=1201800004:0080ffff", SAS_LINE, 'Vendor="HGST", Model="HUS{c}ALS640", Rev="A1C4", Serial=""'),
    (X15 + " refuse=1201", X15 + "\n", "Scsi status: 0x2"),
    (SAS + "status=12:8", SAS_LINE, "Scsi status: 0x8"),  # the controller's copy of the data tells instead
    (SAS + "short=12:12", '{c},{c},0,HGST,"",,-,-;\n', 'Vendor="HGST", Model="", Rev="", Serial="SIM00019"'),
    (SAS + "refuse=1200 patch=lib-pd-info:12:41004200 patch=lib-pd-info:20:202020",
     '{c},{c},0,A,"   {c}ALS640",A1C4,-,-;\n', None),
    (ATA + "no-identify", ATA_BY_INQUIRY, "[QX]STPPassthru : ProcessLibCommandCall failed, rval = 0x2D"),
    (ATA + "fis-length=0xffffffff", ATA_BY_INQUIRY, "[QX]STPPassthru : response FIS of 4294967295 bytes"),
    (ATA + "fis-length=4", ATA_LINE, None),
    (SAS + "serial=SAME\n9" + SAS + "serial=SAME", SAS_LINE, None),
    ("sda" + SAS[3:] + "serial=BOTH\n" + SAS + "serial=BOTH", "sda" + SAS_LINE[3:], None),
    ('9{c},{c},1,A,"1",1,-,-;\n{c},{c},1,A,"2",1,-,-;\n{c},{c},0,A,"3",1,-,-;',
     '{c},{c},0,A,"3",1,-,-;\n9{c},{c},1,A,"1",1,-,-;\n{c},{c},1,A,"2",1,-,-;\n', None),
    ('12345,{c},0,A,"4",1,-,-;', '1234,{c},0,A,"4",1,-,-;\n', None),
    ('{c},65535,255,A,"5",1,-,-;\n{c},65535,10,A,"6",1,-,-;\n{c},65535,9,A,"7",1,-,-;',
     '{c},65535,9,A,"7",1,-,-;\n{c},65535,10,A,"6",1,-,-;\n{c},65535,255,A,"5",1,-,-;\n', None),
]


class Libraries(unittest.TestCase):
    maxDiff = None

    def test_every_variant_in_every_directory(self):
        for turn in range(len(DIRS)):
            places = {name: DIRS[(turn + i) % len(DIRS)] for i, name in enumerate(VARIANTS)}
            drives = "".join(f'{i},{i},0,A,"{i}",1,-,-;  library={place}/{name}\n'
                             for i, (name, place) in enumerate(places.items()))
            m = Machine(self, drives).run("--list", "-v")
            self.assertEqual((m.status, m.out), (0, re.sub("  .*", "", drives)))
            trace = re.search("Looking for.*(?=init_storelib found 4 controllers\n)", m.err, re.S)[0]
            self.assertEqual(re.sub("\tR/.*\n", "", trace), "".join(
                f"Looking for {name}\n" +
                "".join(f'    Trying "R/{at}/{name}"\n' for at in DIRS[:DIRS.index(place) + 1]) +
                f'\tTrying to find {VARIANTS[name]} in {name}\n\t    Success!\nUsing "R/{place}/{name}" for {name}\n'
                f"{name} found 1 controllers\n" for name, place in places.items()))
            for request in "lib-init ext=1 size=260 controllers=1 ok", "lib-exit size=0 ok":
                self.assertEqual([line for line in m.commands if request[:9] in line],
                                 [f"{place}/{name} {request}" for name, place in places.items()])

    def test_one_fault_leaves_the_rest_working(self):
        lines = ['sda,0,0,A,"d",1,-,-;', *(f'{c},{c + 1},0,A,"{c}",1,-,-;' for c in range(3))]
        for words, found, said in FAULTS:
            with self.subTest(words):
                of = [""] + (words + "|" * ("|" not in words)).split("|") + ["library=lib64/libstorelibir.so"]
                m = Machine(self, "".join(f"{line} {w}\n" for line, w in zip(lines, of))).run("--list")
                self.assertEqual((m.status, m.out.split()), (0, [lines[0], *(lines[1 + int(c)] for c in found)]))
                loaded = ["libstorelib.so"] * (found != "2") + ["libstorelibir.so"]
                self.assertEqual(m.diagnostics, said + "".join(f"Unloading {name}\n" for name in loaded))
                self.assertEqual([line.split("/")[-1] for line in m.commands if "lib-exit" in line],
                                 ["libstorelib.so lib-exit size=260 ok"] * ("0:0000" in words) +
                                 [f"{name} lib-exit size=0 ok" for name in loaded])
        m = m.run("--list", without=["storelib"])
        self.assertEqual((m.out, m.diagnostics), (lines[0] + "\n", ""))


class Drives(unittest.TestCase):
    maxDiff = None

    def test_mixed_machine(self):
        drives = "".join(row[0].format(c=c).strip() + "\n" for c, row in enumerate(ROWS))
        expected = "".join(row[1].format(c=c) for c, row in enumerate(ROWS))
        m = Machine(self, drives, FILES).run("--list", "-v")
        self.assertEqual((m.status, m.out, m.diagnostics), (0, expected, None))
        parts = re.split(r"^libstorelib\.so controller #(\d+) has \d+ drives\n", m.err, flags=re.M)
        traces = dict(zip(parts[1::2], parts[2::2]))
        for c, (drive, _, said) in enumerate(ROWS):
            with self.subTest(drive.format(c=c)):
                if said:
                    self.assertIn(said.format(c=c), traces[str(0x1000000 + c)].splitlines())
        self.assertEqual(len(m.sent("5,5,0") + m.sent("6,6,0")), 2)  # a drive of unknown kind is not asked anything
        self.assertEqual(sum(" lib-pd-info id=0100000a " in line for line in m.commands), 512)
        quiet = m.run("--list")
        self.assertEqual((quiet.status, quiet.out, quiet.err), (0, expected, ""))
        self.assertEqual(quiet.diagnostics.splitlines(), [
            *(f"Scsi status: 0x{status}" for status in (2, 8, 8, 2)), ROWS[20][2], ROWS[21][2],
            "cut to 4 characters: 1234", "Unloading libstorelib.so"])


class Runs(unittest.TestCase):
    FILES = {"Data/Map.txt": "ST4000.* SN04 SN06 sn06.lod\nST600.* .* 0004 0004.lod\nHUS.* .* A280 a280.bin\n"
                             "WD.* .* 03.00C07 wd.bin\n", "Data/sn06.lod": "revision=SN06", "Data/0004.lod": "",
             "Data/a280.bin": "", "Data/wd.bin": "revision=03.00C07", "Data/vendor.csv": "SEAGATE,7\nATA,5\n"}
    MIXED = ('0,9,3,HGST,"HUS724030ALS640",A1C4,-,-;\n1,8,1,ATA,"ST4000NM0033",SN04,-,-;\n'
             '1,8,2,ATA,"ST4000NM0035",SN04,-,-; interface=4 flash-revision=SN99\n'
             '0,8,1,SEAGATE,"ST600MM0006",0003,-,-; library=usr/lib64/libstorelibir-2.so\n'
             '0,8,0,ATA,"ST4000NM0033",SN04,-,-; serial=BOTH\nsda,0,0,ATA,"ST4000NM0033",SN04,-,-; stand-in serial=BOTH\n'
             '2,1,1,SEAGATE,"ST600MM0006",0003,-,-; status=lib-pd-list:5\n')
    CHOICE = [  # drives in the order of the list: revisions, commands by storcli, by MegaCli, by neither
        ("sda,0,0", "SN04", "SN06", ["fw_download '-b0' '-t0' '-l' 'R//Data/sn06.lod' '-n' '-DDD'"] * 3),
        ("1,8,1", "SN04", "SN06", ["storcli '/c1/e8/s1' 'download' 'src=R//Data/sn06.lod'",
                                   "MegaCli '-PdFwDownload' '-PhysDrv[8:1]' '-fR//Data/sn06.lod' '-a1'", None]),
        ("0,8,1", "0003", "0004", ["storcli '/c0/e8/s1' 'download' 'src=R//Data/0004.lod' 'mode=7'",
                                   "MegaCli '-PdFwDownload' '-PhysDrv[8:1]' '-fR//Data/0004.lod' '-a0'", None]),
        ("1,8,2", "SN04", "SN99", ["storcli '/c1/e8/s2' 'download' 'src=R//Data/sn06.lod' 'mode=5'",
                                   "MegaCli '-PdFwDownload' '-PhysDrv[8:2]' '-fR//Data/sn06.lod' '-a1'", None]),
        ("0,9,3", "A1C4", "a280", ["storcli '/c0/e9/s3' 'download' 'src=R//Data/a280.bin'",
                                   "MegaCli '-PdFwDownload' '-PhysDrv[9:3]' '-fR//Data/a280.bin' '-a0'", None])]

    def test_update_with_the_controllers_own_tool(self):
        for targets, without in [("ALL", []), ("0,8,1:2,1,1:0,8,0:1,9,3:10,9,3", []), ("ALL", ["storcli"]),
                                 ("ALL", ["storcli", "MegaCli"])]:
            with self.subTest(targets=targets, without=without):
                chosen = [row for row in self.CHOICE if targets == "ALL" or row[0] in targets.split(":")]
                lines, log, results = [], "", ""
                for place, rev, target_rev, commands in chosen:
                    line = commands[len(without)]
                    if line:
                        lines.append(line)
                        log += (f"Now executing: {line}\n{place} now runs {target_rev}\n"
                                f"Firmware update of drive {len(lines)} of {len(chosen)} successful, duration Ns!\n")
                        results += f"{place},SUCCESS,{rev},{target_rev};\n"
                    else:
                        log += "No command\n"
                        results += f"{place},FAILED,{rev},{rev};\n"
                m = Machine(self, self.MIXED, self.FILES).run("--targets", targets, without=without)
                self.assertEqual((m.status, m.out, m.log, m.script), (0, results, log, script_with(*lines)))
                self.assertEqual([line.split()[0] for line in m.commands if " flash " in line],
                                 [line.split(",S")[0] for line in results.splitlines() if "SUCCESS" in line])

    def test_status_46_is_overruled_for_one_controller_and_family(self):
        anyway = "flash-exit=46 flash-works-anyway"
        drives = [('0,8,0,ATA,"WD5002ABYS-50B1B0"', anyway + " pci=1000:005B", True),
                  ('0,8,1,ATA,"WD5002ABYS-50B1A0"', anyway, False),
                  ('0,8,2,ATA,"WD5002ABYS-50B1B1"', "flash-exit=46", False),
                  ('0,8,3,ATA,"WD5002ABYS-50B1B2"', anyway.replace("46", "45"), False),
                  ('1,9,0,ATA,"WD5002ABYS-50B1B0"', anyway, False),
                  ('2,9,1,ATA,"WD5002ABYS-50B1B0"', anyway + " pci=1001:005B", False),
                  ('sda,10,0,ATA,"WD5002ABYS-50B1B0"', anyway, False)]
        inventory = "".join(f"{drive},03.00C06,-,-; {words}\n" for drive, words, _ in drives)
        m = Machine(self, inventory, self.FILES).run("--targets", "ALL")
        self.assertEqual((m.status, m.out), (0, "".join(
            drive.split("ATA")[0] + ("SUCCESS,03.00C07,03.00C07;\n" if good else "FAILED,03.00C06,03.00C06;\n")
            for drive, _, good in drives)))
        first, *rest = m.log.split("Now executing: ")[1:]
        self.assertEqual(first, "storcli '/c0/e8/s0' 'download' 'src=R//Data/wd.bin'\nstorcli: the download failed\n"
                                "Ignoring bogus error 0x2e\nFirmware update of drive 1 of 7 successful, duration Ns!\n")
        self.assertEqual([text.count("failed with status 4") for text in rest], [7] * 6)

    def test_cycling(self):
        read = ("lib-scsi id=01000000 device={0} size=576 target={0} op=1 lun=0 timeout=10 "
                "in 88 08 00 00 {1} 00 00 00 01 00 00 len=512 {2}")
        verify = ("lib-stp id=01000000 device={0} size=60 target={0} flags=4 timeout=10 fis=20 "
                  "none 27 80 {1} 00 {2} 40 {3} 00 01 00 00 00 00 00 00 00 len=0 ok")
        refused = "check=05/20/00 library-status=2d"
        drives = [  # far end of 512-byte blocks, and how it is reached
            ('SEAGATE,"A"', "blocks=0x123456789abc", "12 34 56 78 9a bb", "ok"),
            ('SEAGATE,"B"', "blocks=0x10000000 refuse=88", "00 00 0f ff ff ff", refused),
            ('SEAGATE,"C"', "blocks=2 interface=0", "00 00 00 00 00 01", "ok"),
            ('ATA,"D"', "blocks=0x10000000", "ff ff ff", "40", "0f 00 00"),
            ('ATA,"E"', "blocks=0x10000001", "00 00 00", "42", "10 00 00")]
        inventory = "".join(f"0,8,{i},{drive[0]},1,-,-; {drive[1]}\n" for i, drive in enumerate(drives))
        m = Machine(self, inventory, {"Data/ULL": "nothing . . .\n"}).run("--targets", "9,9,9")
        self.assertEqual((m.status, m.out), (0, ""))
        for i, (_, _, lba, *how) in enumerate(drives):
            sent = [line for line in m.sent(f"0,8,{i}") if re.search("(in 88|80 4[02]) ", line)]
            if len(how) == 1:
                near, far = (read.format(10 + i, at, *how) for at in ("00 00 00 00 00 00", lba))
                self.assertEqual(sent, [near] + [far, near] * 10)
            else:
                near = verify.format(10 + i, "40", "00 00 00", "00 00 00")
                self.assertEqual(sent, [near, verify.format(10 + i, how[0], lba, how[1])] * 10)
