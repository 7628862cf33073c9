"""The risk confirmation and the summary page."""
import unittest

from console import Console, Terminal, centred, cut, drives, other_drives

ALARM = "THIS TOOL WILL MODIFY YOUR HARD DISK DRIVES!"
PROMPT = 'Do you want to power off your machine? Please enter "Yes" or "No":'
FILES = {"Data/ULL": ".* .* - -\n", "VERSION": "1%s%n\n",
         "sbin/init": '#!/bin/sh\necho "$@" >$VANDREL_REHEARSAL/init\n'}


class Confirmation(unittest.TestCase):
    def test_asks_until_an_answer_is_exact(self):
        for wrong, answer, leads_to in (
                ("yes, i understand the risks!", "Yes, I understand the risks!", "*** Firmware Update"),
                ("Yes, I understand the risks", "7q2z", "*** Firmware Update"),
                ("Yes, I understand the risks!!", "exit", "(0 drives)"),
                ("7Q2Z", "EXIT", "(0 drives)"),
                ('"7q2z"', "ExIt", "(0 drives)")):
            with self.subTest(answer):
                c = Console(self, drives("a"))
                c.cursor(15, 0)
                c.type(wrong)
                c.cursor(15, len(wrong))
                c.type("\r")
                c.cursor(15, 0)  # asked again, over what was typed before
                c.type("#")
                c.rows(14, "", "#" + wrong[1:])
                c.type("x\177\177\3\32\34\n")  # Ctrl-C, Ctrl-Z and Ctrl-\ are keys like others
                c.cursor(15, 0)
                c.type(answer + "\n")
                c.shows(leads_to)

    def test_takes_79_characters_and_consent_only_where_it_can_be_seen(self):
        c = Console(self, drives("a"), on=Terminal(30, 100))
        c.cursor(15, 0)
        c.type("x" * 75 + "0123456789")
        c.row(15, "x" * 75 + "0123")
        c.type("\n7q2")
        c.cursor(15, 3)
        for rows, cols in ((1, 1), (15, 80)):
            c.resize(rows, cols)
            c.rests()
        c.row(4, centred(ALARM, 80))
        c.type("z\nab\177")
        c.rests()
        c.resize(16, 60)
        c.rows(14, "", "a")
        c.row(4, centred(ALARM, 60))
        c.drawn(4, False, True, "red")
        c.resize(15, 60)
        c.type("\25exit\n")
        c.shows("*** Summary Page")


class Summary(unittest.TestCase):
    def test_takes_yes_or_no_only_and_a_resize_for_neither(self):
        for answer in ("Yes", "No"):
            with self.subTest(answer):
                c = Console(self, other_drives("a"), files=FILES)
                for wrong in ("yes", "YES", "no", "Y", "N", "", "Yes.", "Yesss", "No!"):
                    c.cursor(23, 67)
                    c.type(wrong)
                    c.row(23, cut(f"{PROMPT} {wrong[:4]}", 80))
                    c.type("\3\32\n")
                    c.row(23, PROMPT)
                c.type(answer[0])
                c.row(23, f"{PROMPT} {answer[0]}")
                c.resize(10, 40)
                c.row(9, PROMPT[:40])
                c.rests()
                c.resize(30, 100)
                c.row(29, f"{PROMPT} {answer[0]}")
                c.row(3, "S.M.A.R.T. check".ljust(94) + "[FAIL]")
                c.type(answer[1:] + "\n")
                c.ends()
                self.assertIsNone(c.machine.read("init"))  # -R was given: the machine stays on
