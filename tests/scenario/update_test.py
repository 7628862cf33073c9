"""Unattended updates: who is flashed, how failures are retried, and what is on disk at every moment."""
import os
import shutil
import signal
import subprocess
import unittest

from machine import SCRIPT, Machine

NOISE_LINE = "0123456789abcdef" * 3 + "0123456789abcde\n"
NOISE_LINES = 50000
IMAGE = "seagate/x-SN06.lod"
FILES = {"Data/Map.txt": f"ST4000.* SN04 SN05 old.lod\nST4000.* SN0[0-6] SN06 {IMAGE}\nST600.* .* 0004 st.lod\n",
         f"Data/{IMAGE}": "revision=SN06\n", "Data/st.lod": "revision=0004\n", "Data/old.lod": "revision=SN05\n"}


def drive(target, words="", rev="SN04", host=0):
    return f'sd{"abcdef"[target]},{host},{target},ATA,"ST4000NM0033",{rev},-,-; {words}\n'


def result(target, word="SUCCESS", now="SN06"):
    return f'sd{"abcdef"[target]},0,{target},{word},SN04,{now};\n'


def command(target):
    return f"fw_download '-b0' '-t{target}' '-l' 'R//Data/{IMAGE}' '-n' '-DDD'"


def script_with(*commands):
    return "#! /bin/bash\n" + "".join(
        f"for count in $(seq 1 6); do\n    {line}\n    if [ $? -eq 0 ]; then break; fi\n    sleep 10\ndone\n"
        for line in commands)


def script_of(*targets):
    return script_with(*map(command, targets))


def started(target):
    return f"Now executing: {command(target)}\n"


def failed(target, how="failed with status 1", said="fw_download: the download failed\n"):
    return f'{said}Command "{command(target)}" {how}\n'


def succeeded(target, number, total):
    return (f'sd{"abcdef"[target]},0,{target} now runs SN06\n'
            f"Firmware update of drive {number} of {total} successful, duration Ns!\n")


class UpdateCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        SCRIPT.unlink(missing_ok=True)
        self.addCleanup(SCRIPT.unlink, missing_ok=True)


class Update(UpdateCase):
    def test_chosen_drives_are_flashed_and_no_others(self):
        drives = (drive(0) + drive(1, rev="SN06") + 'sdd,1,8,HGST,"HUS",A1C4,-,-;\n'
                  'sdc,1,7,SEAGATE,"ST600MM0006",0003,-,-;\n')
        a, c = result(0), "sdc,1,7,SUCCESS,0003,0004;\n"
        for config, options, results in [
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
                ("targets=sda,*,9:sdc,*,7:sda,1,*", [], c)]:
            with self.subTest(config=config, options=options):
                SCRIPT.write_text("earlier\n")
                m = Machine(self, drives, FILES | {"Data/Config.txt": config}).run(*options)
                self.assertEqual((m.status, m.out, m.err), (0, results, ""))
                self.assertEqual(m.flashed, [line[:7] for line in results.splitlines()])
                self.assertEqual((m.script == "earlier\n", m.log is None), (not results, not results))

    def test_attempts_are_repeated_and_logged(self):
        drives = [drive(0, "flash-fails=2"), drive(1, "flash-exit=7"), drive(2),
                  drive(3, f"flash-fails=1 flash-signal=9 flash-noise={NOISE_LINES * len(NOISE_LINE)}"),
                  drive(4, "flash-exit=46 flash-fails=1"), drive(5, "gone-after=1")]
        log = (started(0) + failed(0) * 2 + succeeded(0, 1, 6) +
               started(1) + failed(1, "failed with status 7") * 7 +
               started(2) + succeeded(2, 3, 6) +
               started(3) + failed(3, "died with signal 9", "") + succeeded(3, 4, 6) +
               started(4) + failed(4, "failed with status 46") + succeeded(4, 5, 6) +
               started(5) + failed(5, "failed with status 3", "fw_download: no drive at host 0, target 5\n") * 7)
        m = Machine(self, "".join(drives), FILES | {"tmp/Vandrel.log": "one\n", "tmp/Vandrel.log~": "two\n"})
        m.run("--targets", "ALL", umask=0)
        self.assertEqual(m.log.count(NOISE_LINE), 2 * NOISE_LINES)
        self.assertEqual(m.log.replace(NOISE_LINE, ""), log)
        self.assertEqual(m.read("root/tmp/Vandrel.log~"), "one\n")
        said, logged = ([line for line in text.splitlines() if line[:8] == "Command "] for text in (m.diagnostics, log))
        self.assertEqual(said, logged)
        self.assertEqual(m.read("sleeps.log"), "vandrel sleep 10.000000\n" * (2 + 7 + 1 + 1 + 7))
        self.assertEqual(m.script, script_of(*range(6)))
        self.assertEqual([path.stat().st_mode & 0o777 for path in (SCRIPT, m.root / "tmp/Vandrel.log")], [0o644] * 2)
        self.assertEqual((m.status, m.out, m.err), (0, result(0) + result(1, "FAILED", "SN04") + result(2) + result(3) +
                                                    result(4) + result(5, "FAILED", "SN04"), ""))
        flash = f"flash fw_download //Data/{IMAGE} attempt="
        self.assertEqual(m.sent("sda,0,0")[1:4], [flash + "1 exit=1", flash + "2 exit=1", flash + "3 revision=SN06"])

    def test_script_repeats_the_update(self):
        m = Machine(self, drive(0, "flash-fails=10") + drive(1, "flash-fails=20"), FILES).run("--targets", "ALL")
        env = m.environment(inside=True, PATH=f"{m.root}/sbin:{os.environ['PATH']}")
        bash = subprocess.run(["bash", SCRIPT], env=env, capture_output=True, timeout=60)
        self.assertEqual(bash.stderr.decode(), "fw_download: the download failed\n" * (3 + 6))
        self.assertEqual(bash.stdout.decode(), "sda,0,0 now runs SN06\n")
        self.assertEqual(m.flashed, ["sda,0,0"] * 7 + ["sdb,0,1"] * 7 + ["sda,0,0"] * 4 + ["sdb,0,1"] * 6)

    def test_tool_is_missing(self):
        m = Machine(self, drive(0), FILES).run("--targets", "ALL", without=["fw_download"])
        self.assertEqual((m.status, m.out), (0, result(0, "FAILED", "SN04")))
        self.assertEqual(m.log, started(0) + failed(0, said="fw_download: No such file or directory\n") * 7)

    def test_tool_inherits_nothing(self):
        tool = '#!/bin/sh\nfor fd in /proc/$$/fd/*; do readlink "$fd"; done; grep SigIgn /proc/$$/status\n'
        m = Machine(self, drive(0) + drive(1), FILES | {"usr/sbin/fw_download": tool})
        (m.root / "usr/sbin/fw_download").chmod(0o755)
        with open(__file__, "rb") as typed_ahead:
            m.run("--targets", "sdb,0,1", without=["fw_download"], stdin=typed_ahead)
        self.assertEqual(sorted(m.log.splitlines()[1:-1]), [
            # Deaf to HUP, INT, QUIT, TERM and TSTP, so that nothing stops it half-way; not to PIPE.
            "/dev/null", "R/tmp/Vandrel.log", "R/tmp/Vandrel.log", "R/usr/sbin/fw_download",
            "SigIgn:\t0000000000084007"])
        self.assertEqual(m.out, result(1, now="SN04"))  # what the drive says now, whatever was promised

    def test_one_run_at_a_time(self):
        m = Machine(self, drive(0, "flash-seconds=1"), FILES)
        first = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "1"})
        m.wait_for("fw_download nanosleep", "sleeps.log")
        other = Machine(self, drive(0), FILES)
        other.run("--targets", "ALL")
        self.assertEqual((other.status, other.out, other.flashed), (0, result(0, "FAILED", "SN04"), []))
        self.assertIn("/tmp/Script.sh: Device or resource busy\n", other.diagnostics)
        m.finish(first)
        self.assertEqual((m.out, m.script), (result(0), script_of(0)))
        shutil.rmtree(other.root / "tmp")  # a tree need not have it
        other.run("--targets", "ALL", direct=True)
        self.assertEqual((other.out, other.log), (result(0), started(0) + succeeded(0, 1, 1)))

    def test_script_that_is_a_link(self):
        for target, content in ("victim", "precious\n"), ("nowhere", None):
            m = Machine(self, drive(0), FILES)
            (m.dir / "victim").write_text("precious\n")
            SCRIPT.symlink_to(m.dir / target)
            m.run("--targets", "ALL")
            self.assertEqual((m.status, m.out, m.log), (0, result(0, "FAILED", "SN04"), None))
            self.assertIn("/tmp/Script.sh: Too many levels of symbolic links\n", m.diagnostics)
            self.assertEqual((m.read(target), m.flashed), (content, []))
            SCRIPT.unlink()

    def test_log_that_cannot_be_written(self):
        for links, said in [({"tmp/Vandrel.log": "victim"}, "Too many levels of symbolic links"),
                            ({"tmp/Vandrel.log": "nowhere"}, "Too many levels of symbolic links"),
                            ({"tmp": "/proc"}, "No such file or directory"),  # nobody can create files there
                            ({"tmp": "nowhere"}, "No such file or directory")]:
            with self.subTest(links=links):
                m = Machine(self, drive(0, "flash-fails=1"), FILES).run("-V")
                (m.dir / "victim").write_text("precious\n")
                for name, target in links.items():
                    if name == "tmp":
                        (m.root / name).rmdir()
                    (m.root / name).symlink_to(m.dir / target)
                m.run("--targets", "ALL", direct=True)
                self.assertEqual((m.status, m.out), (0, "sda,0,0 now runs SN06\n" + result(0)))
                self.assertEqual(m.diagnostics.count(f"R//tmp/Vandrel.log: {said}\n"), 2 * 2)
                self.assertIn("fw_download: the download failed\n", m.diagnostics)
                self.assertEqual((m.read("victim"), m.read("nowhere"), m.script), ("precious\n", None, script_of(0)))


class Signals(UpdateCase):
    def test_between_attempts_and_during_one(self):
        between = drive(0) + drive(1, "flash-exit=1") + drive(2)
        during = drive(0, "flash-seconds=1.5") + drive(1)
        for number in signal.SIGTERM, signal.SIGINT:
            for drives, moment, send, log, script in [
                    (between, "vandrel sleep 10", os.kill, started(0) + succeeded(0, 1, 3) + started(1) + failed(1),
                     script_of(0, 1)),
                    # As a terminal does it: to the tool as well.
                    (during, "fw_download nanosleep", os.killpg, started(0) + succeeded(0, 1, 2), script_of(0))]:
                with self.subTest(number=number, moment=moment):
                    m = Machine(self, drives, FILES)
                    run = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "1"}, start_new_session=True)
                    m.wait_for(moment, "sleeps.log")
                    send(run.pid, number)
                    m.finish(run)
                    self.assertEqual((m.status, m.out, m.err), (-number, "", ""))
                    self.assertEqual((m.log, m.script), (log, script))
                    self.assertIn("revision=SN06", m.read("state/0:0:0:0"))
                    with self.assertRaises(ProcessLookupError):  # nothing of the run is left behind
                        os.killpg(run.pid, 0)
