"""Unattended updates: who is flashed, how failures are retried, and what is on disk at every moment."""
import os
import signal
import subprocess
import unittest

from machine import SCRIPT, Machine, command_line, script_text

NOISE_LINE = "0123456789abcdef" * 3 + "0123456789abcde\n"
SEA = "seagate/x-SN06.lod"
FILES = {"Data/Map.txt": f"ST4000.* SN04 SN05 old.lod\nST4000.* SN0[0-6] SN06 {SEA}\nST600.* .* 0004 st.lod\n",
         f"Data/{SEA}": "revision=SN06\n", "Data/st.lod": "revision=0004\n", "Data/old.lod": "revision=SN05\n"}


def drive(letter, host, target, words="", rev="SN04"):
    return f'sd{letter},{host},{target},ATA,"ST4000NM0033",{rev},-,-; {words}\n'


def started(target):
    return f"Now executing: {command_line(0, target, SEA)}\n"


def failed(target, how, said="fw_download: the download failed\n"):
    return said + f'Command "{command_line(0, target, SEA)}" {how}\n'


def succeeded(letter, number, total, target):
    return (f"sd{letter},0,{target} now runs SN06\n"
            f"Firmware update of drive {number} of {total} successful, duration Ns!\n")


class UpdateCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        SCRIPT.unlink(missing_ok=True)
        self.addCleanup(SCRIPT.unlink, missing_ok=True)


class Update(UpdateCase):
    def test_chosen_drives_are_flashed_and_no_others(self):
        drives = (drive("a", 0, 0) + drive("b", 0, 1, rev="SN06") + 'sdd,1,8,HGST,"HUS",A1C4,-,-;\n'
                  'sdc,1,7,SEAGATE,"ST600MM0006",0003,-,-;\n')
        a, c = "sda,0,0,SUCCESS,SN04,SN06;\n", "sdc,1,7,SUCCESS,0003,0004;\n"
        cases = [  # Config.txt, options, result lines
            ("", ["--targets", "ALL"], a + c),
            ("", ["--targets", "sda,0,0:sdq,9,9:sdb,0,1:sdd,1,8"], a),
            ("", ["--targets", "sda,0,1", "--targets", "sdc,1,7"], c),
            ("", ["--targets", "sdb,0,1"], ""),
            ("", ["--targets", "sdb,0,1", "-f"], "sdb,0,1,SUCCESS,SN06,SN06;\n"),
            ("targets=sdc,1,7\ntargets=ALL", ["--targets", "sda,0,0"], c),
            ("  targets=sdc,1,7", ["--targets", "sda,0,0"], a),
            ("targets = SDC,1,7:no list at all", [], c),
            ("targets=*any,*,*", [], a + c),
            ("targets=*,0,0", [], ""),
            ("targets=sda,*,9:sdc,*,7:sda,1,*", [], c),
        ]
        for config, options, results in cases:
            with self.subTest(config=config, options=options):
                SCRIPT.write_text("earlier\n")
                m = Machine(self, drives, FILES | {"Data/Config.txt": config}).run(*options)
                self.assertEqual((m.status, m.out, m.err), (0, results, ""))
                flashed = [line.split(" ")[0] for line in m.commands if " flash " in line]
                self.assertEqual(flashed, [line[:7] for line in results.splitlines()])
                self.assertEqual((m.script == "earlier\n", m.log is None), (not results, not results))

    def test_attempts_are_repeated_and_logged(self):
        drives = [drive("a", 0, 0, "flash-fails=2"), drive("b", 0, 1, "flash-exit=7"), drive("c", 0, 2),
                  drive("d", 0, 3, "flash-fails=1 flash-signal=9 flash-noise=3200000"),
                  drive("e", 0, 4, "flash-exit=46 flash-fails=1"), drive("f", 0, 5, "gone-after=1")]
        m = Machine(self, "".join(drives), FILES | {"tmp/Vandrel.log": "one\n", "tmp/Vandrel.log~": "two\n"})
        m.run("--targets", "ALL", umask=0)
        gone = "fw_download: no drive at host 0, target 5\n"
        failures = (failed(0, "failed with status 1") * 2 + failed(1, "failed with status 7") * 7 +
                    failed(3, "died with signal 9", "") + failed(4, "failed with status 46") +
                    failed(5, "failed with status 3", gone) * 7)
        log = (started(0) + failed(0, "failed with status 1") * 2 + succeeded("a", 1, 6, 0) +
               started(1) + failed(1, "failed with status 7") * 7 + started(2) + succeeded("c", 3, 6, 2) +
               started(3) + failed(3, "died with signal 9", "") + succeeded("d", 4, 6, 3) +
               started(4) + failed(4, "failed with status 46") + succeeded("e", 5, 6, 4) +
               started(5) + failed(5, "failed with status 3", gone) * 7)
        self.assertEqual(m.log.count(NOISE_LINE), 2 * 3200000 // len(NOISE_LINE))
        self.assertEqual(m.log.replace(NOISE_LINE, ""), log)
        self.assertEqual(m.read("root/tmp/Vandrel.log~"), "one\n")
        self.assertEqual(m.script, script_text(*(command_line(0, target, SEA) for target in range(6))))
        self.assertEqual([path.stat().st_mode & 0o777 for path in (SCRIPT, m.root / "tmp/Vandrel.log")], [0o644] * 2)
        self.assertEqual(m.sleeps, ["vandrel sleep 10.000000"] * (2 + 7 + 1 + 1 + 7))
        self.assertEqual(m.out, "sda,0,0,SUCCESS,SN04,SN06;\nsdb,0,1,FAILED,SN04,SN04;\nsdc,0,2,SUCCESS,SN04,SN06;\n"
                         "sdd,0,3,SUCCESS,SN04,SN06;\nsde,0,4,SUCCESS,SN04,SN06;\nsdf,0,5,FAILED,SN04,SN04;\n")
        self.assertEqual((m.status, m.err), (0, ""))
        said = [line for line in m.diagnostics.splitlines(True) if line.startswith("Command ")]
        self.assertEqual(said, [line for line in failures.splitlines(True) if line.startswith("Command ")])
        flash = f"flash fw_download //Data/{SEA} attempt="
        self.assertEqual(m.sent("sda,0,0")[1:4], [flash + "1 exit=1", flash + "2 exit=1", flash + "3 revision=SN06"])

    def test_script_repeats_the_update(self):
        m = Machine(self, drive("a", 0, 0, "flash-fails=10") + drive("b", 0, 1, "flash-fails=20"), FILES)
        m.run("--targets", "ALL")
        path = f"{m.root}/sbin:{os.environ['PATH']}"
        bash = subprocess.run(["bash", SCRIPT], env=m.inside(PATH=path), capture_output=True, timeout=60)
        self.assertEqual(bash.stderr.decode(), "fw_download: the download failed\n" * (3 + 6))
        self.assertEqual(bash.stdout.decode(), "sda,0,0 now runs SN06\n")
        self.assertEqual((m.commands[-10].split()[-1], m.commands[-1].split()[-2]), ("exit=1", "attempt=13"))

    def test_tool_is_missing(self):
        m = Machine(self, drive("a", 0, 0), FILES).run("--targets", "ALL", without=["fw_download"])
        self.assertEqual((m.status, m.out), (0, "sda,0,0,FAILED,SN04,SN04;\n"))
        said = "fw_download: No such file or directory\n"
        self.assertEqual(m.log, started(0) + failed(0, "failed with status 1", said) * 7)

    def test_tool_inherits_no_drive(self):
        tool = '#!/bin/sh\nfor fd in /proc/$$/fd/*; do readlink "$fd"; done; exit 0\n'
        m = Machine(self, drive("a", 0, 0) + drive("b", 0, 1), FILES | {"usr/sbin/fw_download": tool})
        (m.root / "usr/sbin/fw_download").chmod(0o755)
        m.run("--targets", "sdb,0,1", without=["fw_download"])
        held = [line for line in m.log.splitlines() if line.startswith("/") or line.startswith("R/")]
        self.assertEqual(set(held), {"/dev/null", "R/tmp/Vandrel.log", "R/usr/sbin/fw_download"})
        self.assertEqual(m.out, "sdb,0,1,SUCCESS,SN04,SN04;\n")  # what the drive says now, whatever was promised


class Places(UpdateCase):
    """Where log and script cannot be made, or must not because somebody has put a link there."""

    def test_script_that_is_a_link(self):
        for target, content in ("victim", "precious\n"), ("nowhere", None):
            m = Machine(self, drive("a", 0, 0), FILES)
            (m.dir / "victim").write_text("precious\n")
            SCRIPT.symlink_to(m.dir / target)
            m.run("--targets", "ALL")
            self.assertEqual((m.status, m.out, m.log), (0, "sda,0,0,FAILED,SN04,SN04;\n", None))
            self.assertIn("/tmp/Script.sh: Too many levels of symbolic links\n", m.diagnostics)
            self.assertEqual(m.read(target), content)
            self.assertNotIn(" flash ", "\n".join(m.commands))
            SCRIPT.unlink()

    def test_log_that_cannot_be_written(self):
        def link_to(name):
            return lambda m: (m.root / "tmp/Vandrel.log").symlink_to(m.dir / name)

        def read_only(m):
            (m.root / "tmp").rmdir()
            (m.root / "tmp").symlink_to("/proc")

        for spoil, error in [(link_to("victim"), "Too many levels of symbolic links"),
                             (link_to("nowhere"), "Too many levels of symbolic links"),
                             (lambda m: (m.root / "tmp").rmdir(), "No such file or directory"),
                             (read_only, "No such file or directory")]:
            with self.subTest(spoil=spoil):
                m = Machine(self, drive("a", 0, 0, "flash-fails=1"), FILES).run("-V")
                (m.dir / "victim").write_text("precious\n")
                spoil(m)
                m.run("--targets", "ALL", direct=True)
                self.assertEqual((m.status, m.out), (0, "sda,0,0 now runs SN06\nsda,0,0,SUCCESS,SN04,SN06;\n"))
                self.assertEqual(m.diagnostics.count(f"R//tmp/Vandrel.log: {error}\n"), 4)
                self.assertIn("fw_download: the download failed\n", m.diagnostics)
                self.assertEqual((m.read("victim"), m.read("nowhere")), ("precious\n", None))
                self.assertEqual(m.script, script_text(command_line(0, 0, SEA)))


class Signals(UpdateCase):
    def end_by(self, signal_number, drives, text, send):
        m = Machine(self, drives, FILES)
        process = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "1"}, start_new_session=True)
        m.wait_for(text, "sleeps.log")
        send(process.pid, signal_number)
        m.finish(process)
        self.assertEqual((m.status, m.out, m.err), (-signal_number, "", ""))
        with self.assertRaises(ProcessLookupError):  # nothing of the run is left behind
            os.killpg(process.pid, 0)
        return m

    def test_between_attempts(self):
        for number in signal.SIGTERM, signal.SIGINT:
            drives = drive("a", 0, 0) + drive("b", 0, 1, "flash-exit=1") + drive("c", 0, 2)
            m = self.end_by(number, drives, "vandrel sleep 10", os.kill)
            self.assertEqual(m.log, started(0) + succeeded("a", 1, 3, 0) + started(1) + failed(1, "failed with status 1"))
            self.assertEqual(m.script, script_text(command_line(0, 0, SEA), command_line(0, 1, SEA)))

    def test_during_an_attempt(self):
        for number in signal.SIGTERM, signal.SIGINT:
            drives = drive("a", 0, 0, "flash-seconds=0.5") + drive("b", 0, 1)
            m = self.end_by(number, drives, "fw_download nanosleep", os.killpg)  # as a terminal does: all of them
            self.assertEqual(m.log, started(0) + succeeded("a", 1, 2, 0))
            self.assertEqual(m.script, script_text(command_line(0, 0, SEA)))
            self.assertIn("revision=SN06", m.read("state/0:0:0:0"))
