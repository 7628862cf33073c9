"""Whole runs: every terminal, the pagers, a download, and operators who go away."""
import re
import signal
import unittest

from console import PLAIN, Console, Terminal, centred, cut, drives, other_drives
from dialogs_test import ALARM, FILES, PROMPT
from menu_test import FOOTER, HEADER, RULER

TERMINALS = (Terminal(), Terminal(term="linux", locale="C"), Terminal(term="vt100", locale="C", has_colors=False),
             Terminal(200, 400, "linux"), Terminal(10, 40, locale="C"), Terminal(4, 20, "vt100", "C", False))
WARNING = ("", "", "", "WARNING!", ALARM, "Therefore it is of vital importance that you have",
           "created BACKUP COPIES of all of your important data", "on these disks!",
           "If you have taken all required steps to ensure", "that your data is safe, please enter exactly the string",
           '"Yes, I understand the risks!"', "(without the quotes and teminated by RETURN).",
           'Enter the string "exit" to skip updating drive firmware.', "", "", "")
BANNER = ("*" * 62, "*** A power cycle may be required to activate the firmware ***", "*" * 62)
HELP_FOOTER = 'Use cursor keys to scroll through help or hit "q" to return to program'
LOG_FOOTER = 'Use cursor keys to scroll through log  or hit "q" to quit'
HELP, SMART, KEYMAP = "Vandrel.help", {"Data/SMART187": ".* .* - -\n"}, "lib/kbd/keymaps/i386/us.map.gz"


class EveryTerminal(unittest.TestCase):
    def test_walk(self):
        for t in TERMINALS:
            with self.subTest(t):
                red, green = ("red", "green") if t.has_colors else ("usual", "usual")
                c = Console(self, drives("ab"), files=FILES, on=t)
                for row, line in enumerate(WARNING[:t.rows]):
                    c.row(row, centred(line, t.cols) if len(line) <= t.cols else "")  # all or nothing
                    c.drawn(row, *((False, True, red) if row in (3, 4) else PLAIN))
                c.resize(24, 80)  # some are too small for the confirmation
                c.confirm()
                c.resize(t.rows, t.cols)
                c.row(t.rows - 1, cut(FOOTER, t.cols))
                c.cursor(t.rows - 1, 0)
                title = "*** {} (Vandrel V1%s%n) ***"
                c.rows(0, centred(title.format("Firmware Update"), t.cols), cut(HEADER, t.cols), RULER[:t.cols])
                c.drawn(1, *PLAIN)
                if t.rows >= 10:
                    line = "+| sd{} | 0,{}    | ATA      | MODEL-A          | 0001     | new.bin"
                    c.rows(3, cut(line.format("a", 0), t.cols), cut(line.format("b", 1), t.cols), "")
                    c.drawn(3, False, True, green)
                    c.drawn(4, True, False, green)
                c.type("q")
                c.row(t.rows - 1, cut(PROMPT, t.cols))
                if t.rows >= 10:  # else everything is drawn over everything
                    c.row(0, centred(title.format("Summary Page"), t.cols))
                    c.rows(t.rows - 4, *[line[:t.cols] for line in BANNER])
                    for row, name, mark, color in ((1, "Grease Wear Levelling (2 drives)", "[OK]", green),
                                                   (2, "Download Firmware (0 drives)", "[N/A]", "usual"),
                                                   (3, "S.M.A.R.T. check", "[FAIL]", red)):
                        c.row(row, name.ljust(t.cols - len(mark)) + mark)
                        self.assertEqual(c.look(row, t.cols - 3), (False, False, color))
                        self.assertEqual(c.look(row, t.cols - 1), PLAIN)
                    c.row(4, "")
                c.type("No\n")  # unseen on the small ones
                c.ends()


class Pagers(unittest.TestCase):
    def test_scroll_within_the_file(self):
        text = "1 first   \n\n" + "3" * 100 + "\n\t4\n5\n6\n7\n8\n  9\nlast"
        lines = ["1 first", "", "3" * 100, "        4", "5", "6", "7", "8", "  9", "last"]
        for leave in "qQ":
            c = Console(self, drives("a"), files={HELP: text})
            c.confirm()

            def shows_page(rows, cols, start, indicator):
                page = [cut(line, cols) for line in lines[start:start + rows - 1]]
                c.rows(0, *page, *[""] * (rows - 1 - len(page)), cut(indicator + HELP_FOOTER, cols))
            c.type("H")
            c.resize(6, 80)
            for step in "- 0  k^ 0  j 1  JKxg 1  v 2  k 1  jvvv 5  jv\3 5  kkk^^kk 0".split("  "):
                keys, start = step.split()[0], int(step.split()[1])
                c.type(keys)
                shows_page(6, 80, start, {0: "(Top) ", 5: "(Bot) "}.get(start, ""))
            for rows, cols in ((4, 20), (1, 1), (12, 80)):
                c.resize(rows, cols)
                for _ in "before", "after":
                    shows_page(rows, cols, 0, "(All) " if rows == 12 else "(Top) ")
                    c.rests()
            c.type(leave)
            c.row(0, centred("*** Firmware Update (Vandrel Vrehearsal) ***", 80))
            c.row(4, "")

    def test_bear_any_file(self):
        x = "x" * 80
        for content, rows in (
                ("", ["", ""]),
                ("\n \n\t\n\v\nend", ["", "", "", "", "end"]),
                ("x" * (8191 * 2 + 100) + "\nend\n", [x, x, x, "end", ""]),  # read in pieces
                (b"a\tb\33[31mred\a\r\n\0hidden\ngr\xc3\xbcn\xff\xc3", ["a       b?[31mred?", "", "grün??"]),
                (x[1:] + "日\n" + x[2:] + "日", [x[1:], x[2:] + "日"]),  # two columns wide
                ("at 10%\rat 20%\rdone\n\r\rab\r\n日本\rx\nab\r日", ["done0%", "ab", "x 本", "日"])):
            with self.subTest(content[:20]):
                c = Console(self, drives("a"), files={HELP: content})
                c.confirm()
                c.type("h")
                c.row(23, "(All) " + HELP_FOOTER)
                c.rows(0, *rows)
                c.drawn(0, *PLAIN)
        c = Console(self, drives("ab"))  # and a missing one: the menu stays
        c.confirm()
        c.type("hHj-")
        c.shows("-| sdb")
        self.assertEqual(c.machine.diagnostics.count("\nh pressed -> show help(R/./Vandrel.help)\n"), 1)
        self.assertEqual(c.machine.diagnostics.count("h pressed"), 2)


class Flash(unittest.TestCase):
    def test_shows_progress_and_nothing_else_between_the_screens(self):
        c = Console(self, drives("a", "flash-seconds=30 flash-noise=500") + drives("b", "flash-fails=1") +
                         drives("c", "flash-exit=3"))
        c.confirm()
        c.type("g")
        c.cursor(0, 61)
        c.type("yes\n")
        c.resize(24, 79)  # no answer either
        for row, answer in enumerate(("x" * 31 + "No", " Yes", "YES", "Ye", "", "Yess"), 1):
            c.cursor(row, 28)
            c.type(answer + "\n")
        c.shows("log file? Please enter")
        self.assertIn(b"\rFlashing drive 1 of 3  \b|\b/\b-\b\\\b|\b/", c.raw)
        self.assertIn(b"\rFlashing drive 3 of 3  \b|", c.raw)
        c.type("Yes\n")
        log = (c.machine.root / "Data/Vandrel.log").read_text().splitlines()
        c.rows(0, *[cut(line, 79) for line in log[:23]], "(Top) " + LOG_FOOTER)
        c.type("vj")
        c.rows(0, *[cut(line, 79) for line in log[2:25]], LOG_FOOTER)
        c.type("Q")
        c.row(2, "Download Firmware (3 drives)".ljust(73) + "[FAIL]")
        c.cursor(23, 67)
        c.type("No\n")
        c.ends()
        self.assertRegex(c.text(), r"""\A0\|Do you want to update 3 devices\? Please enter "Yes" or "No": yes
1\|Please enter "Yes" or "No": x{31}No
2\|Please enter "Yes" or "No":  Yes
3\|Please enter "Yes" or "No": YES
4\|Please enter "Yes" or "No": Ye
5\|Please enter "Yes" or "No":
6\|Please enter "Yes" or "No": Yess
7\|Flashing drive 1 of 3 [-|/\\]
8\|Firmware update of drive 1 of 3 successful, duration \d+s!
9\|Flashing drive 2 of 3 [-|/\\]
10\|Flashing drive 2 of 3 [-|/\\]
11\|Firmware update of drive 2 of 3 successful, duration \d+s!
(1[2-8]\|Flashing drive 3 of 3 [-|/\\]
){7}19\|Finished WITH ERRORS!
20\|Do you want to view the log file\? Please enter "Yes" or "No": Yes
\Z""")
        self.assertIn("failed with status 3\n", c.machine.diagnostics)


class Gone(unittest.TestCase):
    # Keys for the prompt before; what shows that this one has come.
    PROMPTS = (("", "*** Select keyboard mapping"), ("q", "WARNING!"), ("exit now", "15|exit now"),
               ("\0257q2z\n", "*** Firmware Update"),  # Ctrl-U first
               ("h", "return to program"), ("qg", "update 1 device? Please enter"),
               ("Yes\n", "Finished without errors."), ("Yes\n", "scroll through log"),
               ("q", "*** S.M.A.R.T. Check"), ("q", "*** Summary Page"), ("Ye", '"No": Ye'))
    FIRST_AFTER_FLASH = 6

    def test_operator_may_go_away_at_any_prompt(self):
        for way, status, how in (("hangs up", -signal.SIGHUP, {}), ("hangs up unheard", 0, {"ignores_hup": True}),
                                 ("ends the pipe", 0, {"piped": True}), ("terminates", -signal.SIGTERM, {})):
            for last, (_, prompt) in enumerate(self.PROMPTS):
                with self.subTest(f"{way} at {prompt}"):
                    c = Console(self, drives("a", "smart-187=1"), files={KEYMAP: "", HELP: "", **SMART}, **how)
                    for keys, shown in self.PROMPTS[:last + 1]:
                        c.type(keys)
                        c.shows(shown)
                    if way == "terminates":
                        c.signal(signal.SIGTERM)
                    else:
                        c.end_input()
                    c.ends(status)
                    self.assertEqual(c.has_sent("flash"), last >= self.FIRST_AFTER_FLASH)


class Unusable(unittest.TestCase):
    def test_no_terminal_means_no_consent(self):
        c = Console(self, drives("a", "smart-187=1"), files=SMART, on=Terminal(term="no-such-terminal"))
        c.ends()
        self.assertIn(b'No screens on terminal "no-such-terminal"', c.raw)
        self.assertFalse(c.has_sent("flash"))

    def test_terminal_obeys_nothing_that_a_drive_says(self):
        c = Console(self, drives("a", "", "B\33[2J\33]0;x\7\x9b"), "--list", "-v")
        c.ends()
        self.assertIn(b'sda,0,0,ATA,"B?[2J?]0;x???",0001,-,-;', c.raw)
        self.assertIn(b"find_image(dev=(V:ATA M:B?[2J?]0;x???", c.raw)
        self.assertFalse(re.search(rb"[\33\7\x9b]", c.raw))
