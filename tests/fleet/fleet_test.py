"""The fleet kit over real sshds on the loopback interface: each host has its own rehearsal machine."""
import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = os.environ["VANDREL_BUILD"]
DISK = 'sda,0,0,ATA,"ST4000NM0033-9ZM170",SN04,SN06,"x.lod";'
ODD = 'sdb,0,1,ATA,"{{ 1/0 }} $(id), <b>",0001,-,-;'
# Words of each host's first drive, and whether pauses are really waited for.
HOSTS = {
    "a-fine": ("", 0), "b-refuses": ("", 0), "c-cut-off": ("flash-seconds=6", 1), "d-fails": ("flash-fails=99", 0),
    "e-lies": ("flash-needs-power-cycle", 0), "f-hangs": ("flash-seconds=40", 1), "g-vanishes": ("gone-after=8", 0),
    "h-mounted": ("in-use", 0), "i-cycled": ("flash-needs-power-cycle", 0),
}
CYCLE = """
- name: Power-cycle
  ansible.builtin.command: >-
    vandrel-rehearse --dir {{ vandrel_rehearsal_dir }} --power-cycle {{ vandrel_rehearsal_listing }} --list
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = pathlib.Path(tempfile.mkdtemp(prefix="vf."))
        cls.addClassCleanup(shutil.rmtree, cls.dir, ignore_errors=True)
        namespace = cls.dir / "collections/ansible_collections/vandrel"
        namespace.mkdir(parents=True)
        (namespace / "fleet").symlink_to(SOURCE / "fleet")
        for name in ("host", "user"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", cls.dir / name], check=True)
        if os.getuid() == 0:
            os.makedirs("/run/sshd", exist_ok=True)  # sshd, started by root, wants it
        cls.ports, cls.daemons = {}, {}
        for name, (words, pause) in HOSTS.items():
            (cls.dir / f"{name}.list").write_text(f"{DISK} {words}\n{ODD}\n")
            cls.ports[name] = free_port()
            if name != "b-refuses":
                cls.serve(name, pause)
        (cls.dir / "cycle.yml").write_text(CYCLE)
        cls.write_inventory()

    @classmethod
    def serve(cls, name, pause):
        config = cls.dir / f"{name}.sshd"
        config.write_text(
            f"Port {cls.ports[name]}\nListenAddress 127.0.0.1\nHostKey {cls.dir}/host\nPidFile none\nUsePAM no\n"
            f"Subsystem sftp internal-sftp\nAuthorizedKeysFile {cls.dir}/user.pub\nStrictModes no\n"
            f'SetEnv "PATH={BUILD}:/usr/sbin:/usr/bin:/sbin:/bin" VANDREL_REHEARSAL_SLEEP={pause}\n')
        cls.daemons[name] = subprocess.Popen(["/usr/sbin/sshd", "-D", "-f", config], stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.daemons[name].wait)
        cls.addClassCleanup(cls.daemons[name].terminate)

    @classmethod
    def write_inventory(cls):
        options = (f"-o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null -o IdentitiesOnly=yes "
                   "-o ConnectTimeout=5")
        hosts = {name: {
            "ansible_host": "127.0.0.1", "ansible_port": port, "ansible_python_interpreter": sys.executable,
            "ansible_ssh_private_key_file": f"{cls.dir}/user", "ansible_ssh_common_args": options,
            "vandrel_rehearsal_listing": f"{cls.dir}/{name}.list", "vandrel_rehearsal_dir": f"{cls.dir}/{name}.machine",
            "vandrel_job_dir": f"{cls.dir}/{name}.job", "vandrel_poll": 1, "vandrel_grace": 1,
            "vandrel_time_limit": 4 if name == "f-hangs" else 60} for name, port in cls.ports.items()}
        hosts["i-cycled"]["vandrel_power_cycle_tasks"] = f"{cls.dir}/cycle.yml"
        (cls.dir / "inventory.json").write_text(json.dumps({"all": {"hosts": hosts}}))

    def play(self, name, *args, **variables):
        """Sets status and text; returns result.json's drives as {(host, target): row}."""
        folder = self.dir / ("rehearsed" if name == "rehearse" else "reports")
        shutil.rmtree(folder, ignore_errors=True)
        environment = os.environ | {
            "ANSIBLE_COLLECTIONS_PATH": f"{self.dir}/collections", "HOME": str(self.dir), "PWD": str(self.dir),
            "ANSIBLE_NOCOLOR": "1", "PATH": f"{BUILD}:{os.environ['PATH']}", "VANDREL_REHEARSAL_SLEEP": "0", "ANSIBLE_FORKS": "8",
            "ANSIBLE_STRATEGY": "free",  # which would go on after a failure
           
            "ANSIBLE_PIPELINING": "1", "ANSIBLE_SSH_ARGS": "-o ControlMaster=auto -o ControlPersist=3",
            "ANSIBLE_SSH_CONTROL_PATH_DIR": f"{self.dir}/c"}
        run = subprocess.run(
            ["ansible-playbook", "-i", self.dir / "inventory.json", f"vandrel.fleet.{name}", *args, "-e",
             json.dumps({"vandrel_reports": "reports", "vandrel_rehearsal_reports": "rehearsed"} | variables)],
            env=environment, cwd=self.dir, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=150)
        self.status, self.text = run.returncode, run.stdout + run.stderr
        if not (folder / "result.json").exists():
            return {}
        self.outcome = json.loads((folder / "result.json").read_text())
        return {(row["host"], row["target"]): row for row in self.outcome["drives"]}

    def forget(self):
        """Every machine as on the first day."""
        for name in HOSTS:
            shutil.rmtree(self.dir / f"{name}.machine", ignore_errors=True)
            shutil.rmtree(self.dir / f"{name}.job", ignore_errors=True)

    def cut_off(self, name):
        """Ends the host's daemon and its sessions once its flash has begun, and lets it answer again after a while."""
        stop = time.time() + 60
        while time.time() < stop and not (self.dir / f"{name}.job/results").exists():
            time.sleep(0.1)
        time.sleep(1.5)
        daemon = self.daemons[name].pid
        found = subprocess.run(["ps", "-o", "pid=", "--ppid", str(daemon)], capture_output=True, text=True)
        self.cut = [int(pid) for pid in found.stdout.split()]
        for pid in self.cut + [daemon]:
            os.kill(pid, 9)
        self.daemons[name].wait()
        time.sleep(3)
        self.serve(name, HOSTS[name][1])

    def test_1_survey_and_check_change_nothing(self):
        self.forget()
        drives = self.play("survey")
        self.assertEqual(drives["a-fine", "sdb,0,1"]["model"], "{{ 1/0 }} $(id), <b>", self.text)
        self.assertIn("Vandrel V", next(host for host in self.outcome["hosts"] if host["host"] == "a-fine")["version"])
        self.assertEqual(drives["h-mounted", "sda,0,0"]["reason"], "mounted on /srv/sda")
        page = (self.dir / "reports/report.html").read_text()
        self.assertIn("{{ 1/0 }} $(id), &lt;b&gt;", page)
        self.assertNotIn("<b>", page)
        self.assertEqual([host["host"] for host in self.outcome["hosts"] if host["failed"]], ["b-refuses"])
        # The inventory has hosts of these names: they must not be asked.
        drives = self.play("rehearse", vandrel_serial="100%", vandrel_hosts="all",
                           vandrel_rehearsal_faults={"i-cycled": {"sda,0,0": "flash-fails=9"}})
        states = {host: row["state"] for (host, target), row in drives.items() if target == "sda,0,0"}
        odd = {"i-cycled": "failed", "h-mounted": "skipped"}
        self.assertEqual(states, {name: odd.get(name, "updated") for name in HOSTS if name != "b-refuses"}, self.text)
        self.assertNotIn("b-refuses", self.text)
        self.assertFalse(any((self.dir / f"{name}.job").exists() for name in HOSTS))
        drives = self.play("update", "--check", vandrel_serial="100%", vandrel_max_fail_percentage=100)
        self.assertEqual(drives["a-fine", "sda,0,0"]["state"], "planned", self.text)
        self.assertFalse(any((self.dir / f"{name}.job").exists() for name in HOSTS))

    def test_2_everything_at_once(self):
        self.forget()
        cutter = threading.Thread(target=self.cut_off, args=["c-cut-off"])
        cutter.start()
        drives = self.play("update", vandrel_serial="100%", vandrel_max_fail_percentage=100)
        cutter.join()
        self.assertTrue(self.cut)
        log = (self.dir / "c-cut-off.machine/commands.log").read_text()
        self.assertEqual(log.count(" flash "), 1, "the lost connection repeated the job")
        self.assertNotEqual(self.status, 0)
        states = {host: row["state"] for (host, target), row in drives.items() if target == "sda,0,0"}
        self.assertEqual(states, {
            "a-fine": "updated", "c-cut-off": "updated", "d-fails": "failed", "e-lies": "needs power cycle",
            "f-hangs": "failed", "g-vanishes": "gone", "h-mounted": "skipped", "i-cycled": "updated"}, self.text)
        self.assertEqual(drives["i-cycled", "sda,0,0"]["reason"], "after a power cycle")
        self.assertIn("download failed", drives["d-fails", "sda,0,0"]["reason"])
        self.assertEqual([host["host"] for host in self.outcome["hosts"] if host["failed"]],
                         ["b-refuses", "d-fails", "f-hangs", "g-vanishes"])
        self.play("update", vandrel_hosts="f-hangs")
        self.assertIn("an earlier job is still at work", self.text)
        boot = self.dir / "e-lies.machine/proc/sys/kernel/random/boot_id"
        boot.parent.mkdir(parents=True, exist_ok=True)
        for start, changed in (("1", 1), ("1", 0), ("2", 1)):  # nothing is flashed twice without a new start
            boot.write_text(start)
            drives = self.play("update", vandrel_hosts="e-lies")
            self.assertRegex(self.text, rf"e-lies +: ok=\d+ +changed={changed} ")
            self.assertEqual(drives["e-lies", "sda,0,0"]["state"], "needs power cycle")

    def test_3_canary_stops_and_only_the_rest_is_done(self):
        self.forget()
        hosts = "a-fine:d-fails:i-cycled"
        self.play("update", vandrel_hosts=hosts)
        self.assertIn("NO MORE HOSTS LEFT", self.text)
        self.assertFalse((self.dir / "i-cycled.job").exists())
        (self.dir / "d-fails.list").write_text(f"{DISK}\n")
        self.play("update", vandrel_hosts=hosts)
        self.assertEqual(self.status, 0, self.text)
        self.assertRegex(self.text, r"a-fine +: ok=\d+ +changed=0")
        self.assertRegex(self.text, r"d-fails +: ok=\d+ +changed=1")
        drives = self.play("update", vandrel_hosts=hosts)
        self.assertNotRegex(self.text, r"changed=[1-9]")
        self.assertEqual(drives["d-fails", "sda,0,0"]["state"], "current")

    def test_4_distributed_tree_is_verified(self):
        self.forget()
        tree, there = self.dir / "tree", self.dir / "there"
        unused = shutil.ignore_patterns("*.help", "wd", "ST[68]*", "ULL", "VERSION")
        shutil.copytree(SOURCE / "examples/root", tree, ignore=unused)
        names = sorted(str(path.relative_to(tree)) for path in (tree / "Data").rglob("*") if path.is_file())
        sums = subprocess.run(["sha256sum", *names], cwd=tree, capture_output=True, text=True, check=True).stdout
        (tree / "SHA256SUMS").write_text(sums)
        how = {"vandrel_hosts": "a-fine", "vandrel_distribute": True, "vandrel_tree": str(tree),
               "vandrel_root": str(there)}
        image = tree / "Data/seagate/ST4000NM0033-SN06.lod"
        good = image.read_bytes()
        image.write_bytes(good[:-1] + bytes([good[-1] ^ 1]))
        self.play("update", **how)
        self.assertIn("ST4000NM0033-SN06.lod: the checksum differs", self.text)
        self.assertFalse((self.dir / "a-fine.job/results").exists())
        image.write_bytes(good)
        self.assertEqual(self.play("update", **how)["a-fine", "sda,0,0"]["state"], "updated", self.text)
        self.play("update", **how)
        self.assertRegex(self.text, r"a-fine +: ok=\d+ +changed=0")


if __name__ == "__main__":
    unittest.main()
