"""The firmware, S.M.A.R.T. and keyboard menus."""
import signal
import time
import unittest

from console import PLAIN, Console, Look, Terminal, centred, children, cut, drives, other_drives

FOOTER = "Cursor keys to move up/down, 'h' for help, 'q' for abort, 'g' for act"
HEADER = "S| Adp | Un,Drv | Vendor   | Model            | Revision | Image          "
RULER = "-+-----+--------+----------+------------------+----------+----------------"
LIGHT = {"Data/SMART187": "MODEL .* - -\n"}
KEYMAPS = "lib/kbd/keymaps/i386/"


class Firmware(unittest.TestCase):
    def has_items(self, c, expected):
        """Mark and drive's letter of every item, a capital under the highlight. One whose attributes don't fit its mark
        is followed by '?'."""
        def items():
            found, row = "", 3
            while (line := c.row_text(row))[1:5] == "| sd":
                color = "green" if line[0] == "+" else "red"
                is_current = c.is_drawn(row, Look(False, True, color))
                found += line[0] + (line[5].upper() if is_current else line[5])
                found += "" if is_current or c.is_drawn(row, Look(True, False, color)) else "?"
                row += 1
            return found
        c.until(f"items {expected}", lambda: items() == expected)

    def test_moves_marks_and_scrolls(self):
        """On six rows. With each inventory: keys, and the items that they lead to."""
        for inventory, script in (
                (drives("abcdefghi"),
                 "k^ +A+b+c+d+e+f  jvjvj +a+b+c+d+e+F  j +b+c+d+e+f+G  vv +d+e+f+g+h+I  jv +d+e+f+g+h+I  "
                 "k^k^k +D+e+f+g+h+i  k +C+d+e+f+g+h  - -c+D+e+f+g+h  --x\3\32 -c-d-e+F+g+h  ^ -c-d-E+f+g+h  "
                 "+ -c-d+e+F+g+h  --- -d+e-f-g-h+I  - -d+e-f-g-h-I  k^^^^ -D+e-f-g-h-i"),
                # a hidden head, where the first scroll does not move the view
                (other_drives("a") + drives("bcdefghi"),
                 "jjjjj +b+c+d+e+f+G  j +b+c+d+e+f+G  - +c+d+e+f+g-H  kkkkk +C+d+e+f+g-h"),
                (drives("a") + other_drives("b") + drives("c") + other_drives("d"), "j +a+C  j- +a-C  k +A-c")):
            c = Console(self, inventory)
            c.confirm()
            c.resize(10, 80)
            c.row(9, FOOTER)
            steps = script.split()
            for keys, items in zip(steps[::2], steps[1::2]):
                c.type(keys)
                self.has_items(c, items)

    def test_follows_the_size_of_the_screen(self):
        c = Console(self, other_drives("a") + drives("bcdefghijklm"))
        c.confirm()
        c.type("jjjjjjjjj")
        self.has_items(c, "+b+c+d+e+f+g+h+i+j+K+l+m")
        c.resize(8, 80)
        self.has_items(c, "+h+i+j+K")
        c.resize(9, 80)  # a row more shows an item more
        self.has_items(c, "+h+i+j+K+l")
        c.type("jj")
        self.has_items(c, "+i+j+k+l+M")
        for rows, cols in ((2, 300), (3, 3), (1, 80), (1, 1)):
            c.resize(rows, cols)
            c.row(rows - 1, cut(FOOTER, cols))
            c.rests()
        c.resize(24, 80)
        self.has_items(c, "+b+c+d+e+f+g+h+i+j+k+l+M")
        c.type("k-")
        self.has_items(c, "+b+c+d+e+f+g+h+i+j+k-l+M")

    def test_leaves_with_the_choice_or_without_any(self):
        for inventory, options, items, keys, asks, result in (
                (drives("abc"), (), "+A+b+c", "g", "3 devices", "(3 drives)"),
                (drives("abc"), (), "+A+b+c", "-G", "2 devices", "(2 drives)"),
                (drives("abc"), (), "+A+b+c", "--Q", "1 device", "(1 drives)"),
                (drives("abc"), (), "+A+b+c", "q", "", "(0 drives)"),  # only a small q
                (drives("ab"), (), "+A+b", "--g", "", "(0 drives)"),
                (other_drives("a") + drives("b"), ("-A",), "-A+b", "+g", "1 device", "(1 drives)"),
                (other_drives("ab"), ("-A",), "-A-b", "++g", "", "(0 drives)")):
            with self.subTest(keys=keys, items=items):
                c = Console(self, inventory, *options)
                c.confirm()
                self.has_items(c, items)
                self.assertEqual(c.row_text(3).endswith("| <NONE>"), "-A" in options)
                c.type(keys)
                line = f'Do you want to update {asks}? Please enter "Yes" or "No":'
                if asks:
                    c.row(0, line)
                    c.type("No thanks\n")
                mark = "[OK]" if asks else "[N/A]"
                c.row(2, f"Download Firmware {result}".ljust(80 - len(mark)) + mark)
                c.type("No\n")
                c.ends()
                c.row(0, line + " No thanks" if asks else "No drives found which need a firmware update")
                self.assertFalse(c.has_sent("flash"))


class Smart(unittest.TestCase):
    def test_lists_failed_drives_and_lights_them_while_it_lasts(self):
        for end, status in (("q", 0), ("g", 0), ("TERM", -signal.SIGTERM), ("HUP", -signal.SIGHUP),
                            ("hang up", -signal.SIGHUP)):
            with self.subTest(end):
                c = Console(self, other_drives("a") + other_drives("b", "smart-187=1") + other_drives("c") +
                                 other_drives("d", "smart-187=1"), files=LIGHT)
                c.rows(0, centred("*** S.M.A.R.T. Check (Vandrel Vrehearsal) ***", 80),
                       " Adp | Un,Drv | Vendor   | Model            | Revision | Serial-Number",
                       "-----+--------+----------+------------------+----------+--------------",
                       " sdb | 0,1    | ATA      | MODEL-B          | 0001     | SIM00002",
                       " sdd | 0,3    | ATA      | MODEL-B          | 0001     | SIM00004", "")
                c.drawn(3, False, True, "usual")
                c.drawn(4, True, False, "usual")
                self.assertTrue(c.has_sent("ATA in 85 08 0e 00 d0 00 01 00 00 00 4f 00 c2 00 b0 00 len=512 ok"))
                c.type("jlkl\3\32")  # both lit, and none of the other keys does anything
                c.drawn(3, False, True, "red")
                c.drawn(4, True, False, "red")
                c.until("two lights", lambda: children(c.process.pid) == 2)
                c.type("l")
                c.drawn(3, False, True, "usual")
                c.until("one light", lambda: children(c.process.pid) == 1)
                c.until("activity", lambda: c.has_sent(
                    "sdd,0,3 ATA none 85 06 0c 00 00 00 01 00 00 00 00 00 00 40 42 00 len=0 ok"))
                if len(end) == 1:
                    c.type(end)
                    c.shows("S.M.A.R.T. check (4 drives)")
                    c.until("no light", lambda: children(c.process.pid) == 0)
                    c.type("No\n")
                elif end == "hang up":
                    c.end_input()
                else:
                    c.signal(-status)
                c.ends(status)

    def test_lights_shine_on_odd_seconds(self):
        c = Console(self, 'sda,0,0,SEAGATE,"SAS",0001,-,-;', "-A", files=LIGHT)
        c.confirm()
        c.type("q")
        c.shows("*** S.M.A.R.T. Check")
        c.type("l")
        c.drawn(3, False, True, "red")
        log, seen = c.machine.dir / "commands.log", set()
        for _ in range(40):
            start, size = time.time(), log.stat().st_size
            time.sleep(0.1)
            is_lit = log.stat().st_size > size
            if start % 1 > 0.2 and int(time.time()) == int(start):
                seen.add((int(start) % 2, is_lit))
        self.assertEqual(seen, {(0, False), (1, True)})
        self.assertTrue(c.has_sent("sda,0,0 SCSI none 00 00 00 00 00 00 len=0 ok"))

    def test_has_a_controller_light_its_drives(self):
        ata, refused = ',ATA,"MODEL-B",0001,-,-; smart-187=1', " status=lib-start-locate:"
        c = Console(self, f'0,8,10{ata}\n1,8,2{ata}{refused}12\n1,8,3{ata}{refused}36\n1,8,4{ata}{refused}0x800A\n'
                         f'1,8,5{ata}{refused}13\n1,8,6,SEAGATE,"SAS",0001,-,-; smart-187=1\n', files=LIGHT)
        c.row(3, "   1 | 8,2    | ATA      | MODEL-B          | 0001     | SIM00002")
        c.rows(7, "   0 | 8,10   | ATA      | MODEL-B          | 0001     | SIM00001", "")
        self.assertTrue(c.has_sent("in 27 80 b0 d0 00 4f c2 00 00 00 00 00 00 00 00 00 00 00 00 00 len=512 ok"))
        c.type("ljljljljl")
        c.drawn(7, False, True, "red")
        self.assertTrue(c.has_sent("0,8,10 lib-start-locate id=01000000 device=10 size=0 ok"))
        said = c.machine.diagnostics
        self.assertEqual(said[said.find("StoreLib"):], (
            "StoreLib::locate(): Invalid drive 10\nStoreLib::locate(): Invalid drive 11\n"
            "StoreLib::locate(): Invalid controller 16777217\nStoreLib::locate(): START LOCATE failed, error=0xd\n"))
        self.assertEqual(children(c.process.pid), 0)
        c.type("q")
        c.shows("S.M.A.R.T. check (5 drives)")
        self.assertTrue(c.has_sent("1,8,5 lib-stop-locate id=01000001 device=13 size=0 ok\n"
                                   "0,8,10 lib-stop-locate id=01000000 device=10 size=0 ok\n"))
        c.type("No\n")
        c.ends()


class Keyboard(unittest.TestCase):
    def test_lists_keymaps_by_name_and_loads_one(self):
        names = ("qwerty/us", "qwertz/de", "qwertz/de-latin1", "x/grün", "other/us", "")
        files = {f"{KEYMAPS}{name}.map.gz": "" for name in names}
        files |= {KEYMAPS + "usual.map": "", KEYMAPS + "dir.map.gz/file": ""}
        for locale, special in (("C.UTF-8", "grün"), ("C", "gr??n")):
            for keys, loaded in (("\r", "qwertz/de"), ("vg", "qwertz/de-latin1"), ("vv\n", "x/grün"), ("q", ""),
                                 ("G", "")):
                with self.subTest(locale, keys=keys):
                    c = Console(self, drives("a"), files=files, on=Terminal(locale=locale))
                    c.rows(0, centred("*** Select keyboard mapping (Vandrel Vrehearsal) ***", 80), "Mapping", "-" * 16,
                           "de", "de-latin1", special, "us", "us", "")
                    c.drawn(3, False, True, "usual")
                    c.drawn(4, *PLAIN._replace(bold=True))
                    c.type(keys)
                    c.shows("WARNING!")
                    self.assertEqual(c.has_sent("loadkeys "), loaded != "")
                    self.assertTrue(not loaded or c.has_sent(f"{KEYMAPS}{loaded}.map.gz\n"))
