"""What vandrel-maplint says of maps and of the drives they are for."""
import pathlib
import subprocess
import tempfile
import unittest

from machine import BUILD

EXAMPLE = pathlib.Path(__file__).parents[2] / "examples/root"
MODEL, PREV, NEW, IMAGE = "model pattern", "previous-revision pattern", "new revision", "image"

rejected = "error: rejected: {}".format
longer = ('warning: the {} "{}" also matches texts with more {} it; anchor it with ^ and $, or write .* where that is '
          "meant").format
opens = 'warning: the closing quote of the {} opens the next field: the {} is "{}"'.format
opens_last = "warning: the closing quote of the {} opens the next field, which has no end".format
becomes = "warning: \\{1} in the {0} becomes {2}".format
endless = f"warning: the {PREV} matches the new revision {{}}: with -f the update repeats for ever".format
SPECIAL = "{}, which keeps its special meaning; the character itself is written with two backslashes".format
NEGATED = "[![:{}:]]: an exclamation mark or what the small letter stands for".format
NO_FILE, BOTH = "warning: the image is no regular file", "in front of and behind"


class Maplint(unittest.TestCase):
    maxDiff = None

    def lint(self, *args, files=()):
        """Exit status, report and error stream of a run on map M and, if there is one, inventory I."""
        with tempfile.TemporaryDirectory(prefix="vandrel-scenario.") as tree:
            root = pathlib.Path(tree)
            (root / "Data/dir").mkdir(parents=True)
            for name in "i", "i's":
                (root / "Data" / name).write_text(" " * 512)
            (root / "Data/odd").write_text("odd")
            (root / "Data/empty").touch()
            for name, content in zip("MI", files):
                (root / name).write_text(content)
            command = ["-R", tree, *args, *(root / name for name, _ in zip("MI", files))]
            done = subprocess.run([BUILD / "vandrel-maplint", *command], capture_output=True, text=True)
        return done.returncode, *(text.replace(f"{tree}/", "") for text in (done.stdout, done.stderr))

    def test_lines(self):
        cases = [  # line, exit status, report
            ("# (", 0, []), (r"^A[.]\d\s\\.$ ^[[:alnum:]|]B(C|D)$ N i", 0, []), (r"^[\.]\\\.$ ^R$ N i", 0, []),
            ('"^A B$"^R S$"N"i"', 0, []), ("'^A$'^R$'N'i' more", 0, []), (".*A.+ .+B$|^C.* N i", 0, []),
            ("A", 2, [rejected("Bad pattern in line 2")]), ("A B C ", 2, [rejected("Misformed line 2")]),
            ("^A$ ^( N i", 2, [rejected("Error in pattern line 2: Unmatched ( or \\(")]),
            ("A B C gone", 2, [rejected("/Data/gone: No such file or directory")]),
            ("^A$ ^B$ C dir", 1, [NO_FILE]), ("^A$ ^B$ C empty", 1, ["warning: the image is empty"]),
            ("^A$ ^B$ C i's", 1, ["warning: the image's name holds a quote, which breaks the update script"]),
            ('"A" B C i', 2, [rejected("Bad pattern in line 2"), opens_last(MODEL)]),
            ('A "B"C D', 2, [rejected("Bad revision in line 2"), opens_last(PREV)]),
            ('"A" "B" "C" "i"', 2, [rejected("/Data/ : No such file or directory"), opens(MODEL, PREV, " "),
                                    opens(NEW, IMAGE, " ")]),
            ('"^A$"^B$ "C"i"', 1, [opens(MODEL, PREV, "^B$ "), longer(PREV, "^B$ ", "behind")]),
            ('"^A$"^B$" C"i"', 1, [opens(PREV, NEW, " C")]),
            ('"^A$"".*""C""i"', 1, [opens(MODEL, PREV, ""), opens(NEW, IMAGE, ""), longer(PREV, "", BOTH),
                                    endless(".*"), NO_FILE]),
            ("\"^A$\"'B'\"C\"i\"", 1, [opens(MODEL, PREV, "'B'"), longer(PREV, "'B'", BOTH)]),
            (r"^A\.\(B)$ ^R$ N i", 1, [becomes(MODEL, ".", SPECIAL(".")), becomes(MODEL, "(", SPECIAL("("))]),
            (r"^\W\w$ ^\S\D$ N i", 1, [becomes(MODEL, "W", NEGATED("alnum")),
                                       becomes(MODEL, "w", "[[:alnum:]]: no underscore"),
                                       becomes(PREV, "S", NEGATED("space")), becomes(PREV, "D", NEGATED("digit"))]),
            (r"^[A\d]\bB$ ^R$ N i", 1, [becomes(MODEL, "d", "[[:digit:]], which ends the brackets around it"),
                                        becomes(MODEL, "b", "b, a plain character")]),
            ("A|^B[|]|(C|D)$ ^R N i", 1, [longer(MODEL, "A", BOTH), longer(MODEL, "^B[|]", "behind"),
                                          longer(MODEL, "(C|D)$", "in front of"), longer(PREV, "^R", "behind")]),
            (r"^A\\$ ^B\\.* N i", 1, [longer(MODEL, r"^A\$", "behind"), longer(PREV, r"^B\.*", "behind")]),
            ("^A$ ^R[1-3]$ R3 i", 1, [endless("R3")]), ("^A$ . N i", 1, [endless("N")]),
        ]
        for line, status, report in cases:
            with self.subTest(line=line):
                said = "".join(f"M:2: {text}\n" for text in report)
                self.assertEqual(self.lint(files=[f"^Z$ ^R$ N i\n{line}\n"]), (status, said, ""))

    def test_rules_and_drives(self):
        rules = "^A.* ^R[12]$ R3 i\n^AB.* ^R1$ R4 i\n^AB.* ^R1$ R5 i\n^ABC$ .* R6 i\n^ABC$ .* R7 i\nA\n"
        rules += "^X$ . Z i\n" * 2
        same = "warning: never wins{}: line {} has the same patterns\n".format
        lost = "warning: never wins: later lines override it for all 2 drives it matches\n"
        rest = f"M:4: {endless('R6')}\nM:4: {same(' but over drives that run R7 already', 5)}M:5: {endless('R7')}\n"
        circle = "M:5: warning: every run flashes anew: drives go from R6 back to R7\n"
        rest += f"M:6: {rejected('Bad pattern in line 6')}\n"
        rest += f"M:7: {endless('Z')}\nM:7: {same('', 8)}M:8: {endless('Z')}\n"
        drives = '# two hosts\nsda,0,0,V,"ABC",R1,-,-; smart-187=1\nsdb,0,1,V,"AB",R1,-,-;\n1,8,2,V,"ABC",R7,R6,"i";\n'
        shown = ('sda,0,0 "ABC" R1: line 5 brings R7 from i, overriding line 1, 2, 3, 4\n'
                 'sdb,0,1 "AB" R1: line 3 brings R5 from i, overriding line 1, 2\n'
                 '1,8,2 "ABC" R7: line 4 brings R6 from i\n'
                 "3 drives: 3 to be updated, 0 matched by no line; lines that match no drive: 7-8\n")
        rule, none = "^A$ ^R1$ R2 i\n", 'sda,0,0,V,"A",R2,-,-;\nsdb,0,0,V,"B",R1,-,-;\n'
        two = 'sda,0,0,V,"C",R1,-,-;\nsdb,0,1,ATA,"C",R1,-,-;\n'
        cases = [  # map and inventory, exit status, report, error stream
            ([rules], 2, f"M:2: {same('', 3)}{rest}", ""),
            ([rules, drives], 2, f"{shown}M:1: {lost}M:2: {same('', 3)}M:2: {lost}" +
             rest.replace("M:6", circle + "M:6"), ""),
            ([rule, none], 0, 'sda,0,0 "A" R2: no line matches\nsdb,0,0 "B" R1: no line matches\n'
             "2 drives: 0 to be updated, 2 matched by no line; lines that match no drive: 1\n", ""),
            ([rule + "^C$ ^R1$ R2 odd\n", two], 1, 'sda,0,0 "C" R1: line 2 brings R2 from odd\n'
             'sdb,0,1 "C" R1: line 2 brings R2 from odd\n'
             "2 drives: 2 to be updated, 0 matched by no line; lines that match no drive: 1\n"
             "M:2: warning: one image for drives of several vendors: ATA, V\n"
             "M:2: warning: ATA drives can't take the image: its 3 bytes are no multiple of 512\n", ""),
            ([rule, none.replace("sdb,0", "sdb,x")], 2, "", "I:2: the host is not a number\n"),
        ]
        for files, *result in cases:
            with self.subTest(files=files):
                self.assertEqual(self.lint(files=files), tuple(result))

    def test_arguments(self):
        example, gone = ["-R", EXAMPLE, EXAMPLE / "Data/Map.txt"], "^A$ ^B$ C gone\n"
        usage = f"usage: {BUILD}/vandrel-maplint [-h] [-R DIR] [-n] MAP [INVENTORY]\n"
        cases = [(example, [], 0, "", ""), (["-n"], [gone], 0, "", ""), ([], ["# nothing\n"], 1, "M: warning: no line counts\n", ""),
                 *((["-n", EXAMPLE / "Data" / name], [], 0, "", "") for name in ("ULL", "SMART187")),
                 (["none"], [], 2, "", "none: No such file or directory\n"), (["-h"], [], 0, usage, ""),
                 (["/"], [], 2, "", "/: not a regular file\n"), ([*example, "/"], [], 2, "", "/: Is a directory\n"),
                 ([], [], 2, "", usage), (["-n", "a", "b", "c"], [], 2, "", usage)]
        for args, files, *result in cases:
            with self.subTest(args=args):
                self.assertEqual(self.lint(*args, files=files), tuple(result))
