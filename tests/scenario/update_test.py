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
    return f'sd{"abcdef"[target]},{host},{target},ATA,"ST4000NM0033",{rev},-,-; stand-in {words}\n'


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


class Update(unittest.TestCase):
    maxDiff = None

    def test_chosen_drives_are_flashed_and_no_others(self):
        drives = (drive(0) + drive(1, rev="SN06") + 'sdd,1,8,HGST,"HUS",A1C4,-,-;\n'
                  'sdc,1,7,SEAGATE,"ST600MM0006",0003,-,-; stand-in\n')
        a, c = result(0), "sdc,1,7,SUCCESS,0003,;\n"  # its serial number page holds nothing but the serial number
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
                m = Machine(self, drives, FILES | {"Data/Config.txt": config, f"../{SCRIPT}": "earlier\n"}).run(*options)
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
        self.assertEqual(m.read("sleeps.log"), "vandrel sigtimedwait 10.000000\n" * (2 + 7 + 1 + 1 + 7))
        self.assertEqual(m.script, script_of(*range(6)))
        self.assertEqual([(m.dir / path).stat().st_mode & 0o777 for path in (SCRIPT, "root/tmp/Vandrel.log")], [0o644] * 2)
        self.assertEqual((m.status, m.out, m.err), (0, result(0) + result(1, "FAILED", "SN04") + result(2) + result(3) +
                                                    result(4) + result(5, "FAILED", "SN04"), ""))
        flash = f"flash fw_download //Data/{IMAGE} attempt="
        self.assertEqual(m.sent("sda,0,0")[1:4], [flash + "1 exit=1", flash + "2 exit=1", flash + "3 revision=SN06"])

    def test_what_drives_run_afterwards(self):
        drives = (drive(0, "flash-needs-power-cycle") + 'sdb,0,1,SEAGATE,"ST600",0003,-,-; stand-in flash-needs-power-cycle\n'
                  'sdc,0,2,SEAGATE,"ST600",0003,-,-; stand-in serial-page-revision\n')
        m = Machine(self, drives, FILES).run("--targets", "ALL")
        self.assertEqual(m.out, result(0, "SUCCESS", "SN04") + "sdb,0,1,SUCCESS,0003,;\nsdc,0,2,SUCCESS,0003,0004;\n")
        for options, now in ([], ["SN04", "0003", "0004"]), (["--power-cycle"], ["SN06", "0004", "0004"]):
            m.run("--list", launch=options)
            self.assertEqual([line.split(",")[5] for line in m.out.splitlines()], now)

    def test_script_repeats_the_update(self):
        m = Machine(self, drive(0, "flash-fails=10") + drive(1, "flash-fails=20"), FILES).run("--targets", "ALL")
        env = m.environment(inside=True, PATH=f"{m.root}/sbin:{os.environ['PATH']}")
        bash = subprocess.run(["bash", m.dir / SCRIPT], env=env, capture_output=True, timeout=60)
        self.assertEqual(bash.stderr.decode(), "fw_download: the download failed\n" * (3 + 6))
        self.assertEqual(bash.stdout.decode(), "sda,0,0 now runs SN06\n")
        self.assertEqual(m.flashed, ["sda,0,0"] * 7 + ["sdb,0,1"] * 7 + ["sda,0,0"] * 4 + ["sdb,0,1"] * 6)

    def test_tool_is_missing(self):
        m = Machine(self, drive(0), FILES).run("--targets", "ALL", without=["fw_download"])
        self.assertEqual((m.status, m.out), (0, result(0, "FAILED", "SN04")))
        self.assertEqual(m.log, started(0) + failed(0, said="fw_download: No such file or directory\n") * 7)

    def test_false_error_of_a_controller_is_a_true_one_without_it(self):
        m = Machine(self, 'sda,0,0,ATA,"WD5002ABYS-50B1B0",SN06,-,-; flash-exit=46\n',
                    FILES | {"Data/Map.txt": f"WD.* .* SN06 {IMAGE}\n"}).run("--targets", "ALL", "-f")
        self.assertEqual(m.out, "sda,0,0,FAILED,SN06,SN06;\n")

    def test_tool_inherits_the_lock_and_nothing_else(self):
        tool = ('#!/bin/sh\nfor fd in /proc/$$/fd/*; do readlink "$fd"; done\n'
                'set -- $(cat /proc/$$/stat); [ $1 = $6 ] && echo leads its session\n'
                'exec grep -E "Sig(Ign|Blk)" /proc/self/status\n')  # a shell blocks some while it starts a command
        m = Machine(self, drive(0) + drive(1), FILES | {"usr/sbin/fw_download": tool})
        (m.root / "usr/sbin/fw_download").chmod(0o755)
        with open(__file__, "rb") as typed_ahead:
            m.run("--targets", "sdb,0,1", without=["fw_download"], stdin=typed_ahead,
                  preexec_fn=lambda: signal.signal(signal.SIGUSR1, signal.SIG_IGN))
        self.assertEqual(sorted(m.log.replace(str(m.dir), "DIR").splitlines()[1:-1]), [
            "/dev/null", "DIR/run/vandrel.lock", "R/tmp/Vandrel.log", "R/tmp/Vandrel.log", "R/usr/sbin/fw_download",
            "SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000", "leads its session"])
        self.assertEqual(m.out, result(1, now="SN04"))  # what the drive says now, whatever was promised

    def test_one_run_at_a_time(self):
        m = Machine(self, drive(0, "flash-seconds=1"), FILES)
        first = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "1"})
        m.wait_for("fw_download nanosleep", "sleeps.log")
        diagnostics = m.read("root/Data/Vandrel.stderr")
        self.assertEqual((m.dir / "run/vandrel.lock").stat().st_mode & 0o777, 0o600)
        for holders in (r"process \d+ \(vandrel\), process \d+ \(fw_download\)", r"process \d+ \(fw_download\)"):
            for options in (["--targets", "ALL"], []):
                m.run(*options, direct=True)
                self.assertEqual((m.status, m.out), (1, ""))
                self.assertRegex(m.err, rf"^/run/vandrel.lock: another run is at work: {holders}\n$")
            self.assertEqual(m.diagnostics, diagnostics)
            if first.poll() is None:
                first.kill()  # the tool goes on
                first.wait()
        self.assertEqual((m.run("--list", direct=True).status, m.flashed), (0, []))
        m.wait_for("revision=SN06", "commands.log")
        shutil.rmtree(m.root / "tmp")  # a tree need not have it
        m.run("--targets", "ALL", "-f", direct=True)
        self.assertEqual((m.out, m.log), ("sda,0,0,SUCCESS,SN06,SN06;\n", started(0) + succeeded(0, 1, 1)))

    def test_what_lies_in_the_way_is_replaced(self):
        places = [SCRIPT, "root/tmp/Vandrel.log", "root/tmp/Vandrel.log~"]
        for put in (lambda path: path.symlink_to("victim"), lambda path: path.symlink_to("nowhere"), os.mkfifo,
                    lambda path: path.mkdir(), lambda path: os.link(path.parent / "victim", path)):
            m = Machine(self, drive(0, "flash-fails=1"), FILES).run("-V")
            for place in places:
                (m.dir / place).parent.joinpath("victim").write_text("precious\n")
                put(m.dir / place)
            m.run("--targets", "ALL", direct=True)
            self.assertEqual((m.status, m.out), (0, result(0)))
            self.assertEqual((m.script, m.log), (script_of(0), started(0) + failed(0) + succeeded(0, 1, 1)))
            self.assertNotIn("Vandrel.log", m.diagnostics.replace("log~", "backup") if put is os.mkfifo else "")
            self.assertEqual([m.read(f"{name}/victim") for name in ("tmp", "root/tmp")], ["precious\n"] * 2)
            self.assertFalse((m.dir / "tmp/nowhere").exists() or (m.root / "tmp/nowhere").exists())

    def test_log_that_cannot_be_written(self):
        for target in ("/proc", "nowhere"):  # nobody can create files there
            with self.subTest(target=target):
                m = Machine(self, drive(0, "flash-fails=1"), FILES).run("-V")
                (m.root / "tmp").rmdir()
                (m.root / "tmp").symlink_to(m.dir / target)
                m.run("--targets", "ALL", direct=True)
                self.assertEqual((m.status, m.out), (0, "sda,0,0 now runs SN06\n" + result(0)))
                self.assertEqual(m.diagnostics.count("R//tmp/Vandrel.log: No such file or directory\n"), 2 * 2)
                self.assertIn("fw_download: the download failed\n", m.diagnostics)
                self.assertEqual(m.script, script_of(0))


class Signals(unittest.TestCase):
    def test_result_lines_of_every_drive_attempted(self):
        between = drive(0) + drive(1, "flash-exit=1") + drive(2)
        during = drive(0, "flash-seconds=1.5") + drive(1)
        for number in signal.SIGTERM, signal.SIGINT, signal.SIGHUP:
            for drives, moment, send, log, script, results in [
                    (between, "vandrel sigtimedwait 10", os.kill, started(0) + succeeded(0, 1, 3) + started(1) + failed(1),
                     script_of(0, 1), result(0) + result(1, "FAILED", "SN04")),
                    # As a terminal does it: to all of the run.
                    (during, "fw_download nanosleep", os.killpg, started(0) + succeeded(0, 1, 2), script_of(0), result(0))]:
                with self.subTest(number=number, moment=moment):
                    m = Machine(self, drives, FILES)
                    run = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "1"}, start_new_session=True)
                    m.wait_for(moment, "sleeps.log")
                    send(run.pid, number)
                    m.finish(run)
                    self.assertEqual((m.status, m.out, m.err), (-number, results, ""))
                    self.assertEqual((m.log, m.script), (log, script))
                    self.assertIn("revision=SN06", m.read("state/0:0:0:0"))
                    with self.assertRaises(ProcessLookupError):  # nothing of the run is left behind
                        os.killpg(run.pid, 0)

    def test_ignored_ones_end_nothing(self):  # as nohup has it
        m = Machine(self, drive(0, "flash-fails=1") + drive(1), FILES)
        run = m.start("--targets", "ALL", env={"VANDREL_REHEARSAL_SLEEP": "0.1"},
                      preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        m.wait_for("sigtimedwait", "sleeps.log")
        os.kill(run.pid, signal.SIGHUP)
        self.assertEqual((m.finish(run).status, m.out), (0, result(0) + result(1)))

    def test_tool_that_is_asked_to_end(self):
        tool = "#!/bin/sh\n" + "for i in 1 2; do timeout -s $i 0.1 tail -f /dev/null; echo $?; done\nkill $$\nexit 0\n"
        m = Machine(self, drive(0), FILES | {"usr/sbin/fw_download": tool})
        (m.root / "usr/sbin/fw_download").chmod(0o755)
        m.run("--targets", "ALL", without=["fw_download"])
        self.assertEqual(m.log, started(0) + failed(0, "died with signal 15", "124\n124\n") * 7)
