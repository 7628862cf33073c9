"""The command line, Config.txt, the map and what else is read from files, good and bad."""
import os
import unittest

from machine import BUILD, Machine

USAGE = "usage: vandrel [-AVkhv?] [-M <mapfile>] [-R <reldir>]\n"
HELP = USAGE + """    -A: show all drives
    -k: keep script after download
    -f: force update
    -v: increase verbosity
    -?, -h: show this help
    -M <mapfile>: use <mapfile> rather than Map.txt
    -R <reldir>: look for files in <reldir> rather than in /
    -V: show program version(s)
"""
DRIVE = 'sda,0,0,ATA,"ST4000NM0033",SN04,-,-; stand-in\n'
MAP = "ST4000.* .* SN06 x-SN06.lod\n"
IMAGE = {"Data/x-SN06.lod": "revision=SN06\n"}


def line(new="-", image="-", rev="SN04"):
    return f'sda,0,0,ATA,"ST4000NM0033",{rev},{new},{image};\n'


class Start(unittest.TestCase):
    maxDiff = None

    def test_command_lines_that_list_and_flash_nothing(self):
        revision = (BUILD / "src/revision.h").read_text().split('"')[-2]
        exclusive = "vandrel: -l/--list and -T/--targets are mutually exclusive\n"
        cases = [  # options, exit status, error stream
            (["-h"], 0, HELP), (["-?"], 0, HELP), (["-h", "-x"], 0, HELP), (["-V", "-h"], 0, HELP),
            (["--nonsense"], 0, "vandrel: unrecognized option '--nonsense'\n" + HELP),
            (["-x"], 255, "vandrel: invalid option -- 'x'\n" + USAGE),
            (["-x", "-h"], 255, "vandrel: invalid option -- 'x'\n" + USAGE * 2),
            (["-T", "ALL"], 255, "vandrel: invalid option -- 'T'\n" + USAGE),
            (["-M"], 255, "vandrel: option requires an argument -- 'M'\n" + USAGE),
            (["--targets"], 255, "vandrel: option '--targets' requires an argument\n" + USAGE),
            (["--targets", "ALL", "--targets", "sda,0,0"], 255, ""),
            *((["--targets", bad], 255, "") for bad in
              ["", "all", "sda,0", "SDA,0,0", "sdabc,0,0", "sda,0,0:", "1,2,3 "]),
            (["-l", "--targets", "ALL"], 255, exclusive),
            (["--targets", "sdab,2,5:3,1,7", "-V"], 0, "Vandrel V  7.1\n"),
            (["-V", "-V"], 0, f"Vandrel V  7.1\n{revision}\n"),
        ]
        for options, status, error in cases:
            with self.subTest(options=options):
                m = Machine(self, DRIVE, {"VERSION": "  7.1 \t\r\nmore"}).run(*options)
                self.assertEqual((m.status, m.out, m.err), (status, "", error))
                self.assertEqual((m.commands, m.diagnostics), ([], None))
        m = Machine(self, DRIVE, {"Data/Config.txt": "targets=ALL\n"}).run("--list")
        self.assertEqual((m.status, m.out, m.err), (255, "", exclusive))

    def test_maps_and_images(self):
        files = IMAGE | {"Data/Map.txt": MAP, "maps/other": "ST.* SN0[45] SN05 gone.lod\nST.* SN04 SN05 x-SN06.lod\n"}
        missing, other = "R//Data/gone.lod: No such file or directory\n", line("SN05", '"x-SN06.lod"')
        cases = [  # the drive's revision, options, listing, diagnostics
            ("SN04", [], line("SN06", '"x-SN06.lod"'), ""),
            ("SN06", [], line(rev="SN06"), ""),
            ("SN06", ["-f"], line("SN06", '"x-SN06.lod"', "SN06"), ""),
            ("SN04", ["-M", "maps/other"], other, missing),
            ("SN04", ["-M", "ROOT/maps/other"], other, missing),
            ("SN05", ["-M", "maps/other"], line(rev="SN05"), missing),
            ("SN05", ["-M", "maps/other", "-f", "-n"], line("SN05", '"gone.lod"', "SN05"), ""),
            ("SN04", ["-M", "maps/none"], line(), "R/maps/none: No such file or directory\n"),
            ("SN04", ["-M", "maps"], line(), "R/maps: not a regular file\n"),
            ("SN04", ["-M", "maps/pipe"], line(), "R/maps/pipe: not a regular file\n"),
            ("SN04", ["-M", "maps/link"], other, missing),
        ]
        for rev, options, listing, said in cases:
            with self.subTest(rev=rev, options=options):
                m = Machine(self, DRIVE.replace("SN04", rev), files).run("-V")
                os.mkfifo(m.root / "maps/pipe")
                (m.root / "maps/link").symlink_to("other")
                m.run("--list", *(word.replace("ROOT", str(m.root)) for word in options), direct=True)
                self.assertEqual((m.status, m.out, m.err, m.diagnostics), (0, listing, "", said))

    def test_verbose_start(self):
        config = "verbose = YES\n# verbose=no\n  keymap = x\nx=\"1\" # note\n2x=1\nverbose=no\n" + "y=" + "z" * 9000
        echo = ('Config.txt:\n    verbose = "YES"\n      keym = "="\n    x = ""1" # note"\n    verbose = "no"\n'
                f'    y = "{"z" * 8189}"\n')
        search = ('vandrel: old PATH="/usr/bin"\nvandrel: old LD_LIBRARY_PATH="/nowhere"\nvandrel: new PATH="'
                  'R/sbin:R/usr/sbin:R/usr/local/sbin:R/root/bin:R/usr/local/bin:R/usr/bin:/usr/bin"\n'
                  'vandrel: new LD_LIBRARY_PATH="R/lib:R/usr/lib:R/usr/local/lib:/nowhere"\n'
                  'new mapname="R//Data/Map.txt"\nnew versionname="R/./VERSION"\nnew Log_path="R//Data/Vandrel.log"\n'
                  'new FW_help_path="R/./Vandrel.help"\nnew SMART187_help_path="R/./SMART187.help"\n')
        cases = [(config, [], {}, echo + search), ("verbose=on\n", [], {}, ""), ("Verbose=yes\n", [], {}, ""),
                 ("", ["-v"], {}, "Config.txt:\n" + search), (None, [], {"Vandrel_VERBOSE": ""}, search)]
        for content, options, env, start in cases:
            with self.subTest(content=content, options=options, env=env):
                files = {} if content is None else {"Data/Config.txt": content}
                m = Machine(self, DRIVE, IMAGE | {"Data/Map.txt": MAP} | files)
                m.run("--list", *options, env=env | {"PATH": "/usr/bin", "LD_LIBRARY_PATH": "/nowhere"})
                self.assertEqual((m.status, m.out), (0, line("SN06", '"x-SN06.lod"')))
                self.assertEqual(m.diagnostics, None if start else "")
                self.assertEqual(m.err[:len(start)] if start else m.err, start)


class Lost(unittest.TestCase):
    def test_output_that_reaches_nobody_fails_the_run(self):
        m = Machine(self, DRIVE, IMAGE | {"Data/Map.txt": MAP}).run("-V")
        with open("/dev/full", "wb") as full:
            for options, where in [(["--list"], {"stdout": full}), (["--targets", "ALL"], {"stdout": full}),
                                   (["--list"], {"preexec_fn": lambda: os.close(1)})]:
                m.run(*options, direct=True, **where)
                self.assertEqual(m.status, 1)
                self.assertRegex(m.diagnostics, "standard output: (No space left on device|Bad file descriptor)\n$")
