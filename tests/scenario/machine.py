"""A simulated machine on which the real program runs, and what a run leaves behind."""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import time

BUILD = pathlib.Path(os.environ["VANDREL_BUILD"])
SCRIPT = "tmp/Script.sh"  # /tmp/Script.sh to the program
LIMIT_S = 120  # a thousand drives take their time to be set up

# A shell may have started us with it ignored, and what is ignored stays so in every child.
signal.signal(signal.SIGINT, signal.default_int_handler)


class Machine:
    """Lives in a temporary directory. In every text read from it the root tree is called R, the program vandrel, and a
    duration N; a file that does not exist reads as None."""

    def __init__(self, case, drives, files=None, build=BUILD):
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="vandrel-scenario."))
        case.addCleanup(shutil.rmtree, self.dir)
        self.case, self.build, self.root = case, build, self.dir / "root"
        (self.dir / "machine").touch()  # the sign of an earlier rehearsal: files put here first are then kept
        (self.dir / "drives").write_text(drives)
        for name, content in (files or {}).items():
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content if isinstance(content, bytes) else content.encode())

    def environment(self, inside=False, **more):
        """Inside: for a program that works on this machine once it has been built."""
        reports = f"log_path={self.dir}/report:detect_leaks=1:exitcode=99"
        kept = {name: value for name, value in os.environ.items() if name not in ("Vandrel_VERBOSE", "VANDREL")}
        if inside:
            kept |= {"LD_PRELOAD": f"{self.build}/libvandrel-rehearsal.so", "VANDREL_REHEARSAL": str(self.dir)}
        return kept | {"VANDREL_REHEARSAL_SLEEP": "0", "ASAN_OPTIONS": reports, "UBSAN_OPTIONS": reports} | more

    def start(self, *args, without=(), launch=(), direct=False, env=None, **popen):
        """Directly: without vandrel-rehearse, whose options are in launch; it would mend the root tree that it built."""
        command = [self.build / "vandrel", "-R", self.root] if direct else [
            self.build / "vandrel-rehearse", "--dir", self.dir, *(f"--without={name}" for name in without), *launch,
            self.dir / "drives"]
        return subprocess.Popen([*command, *args], env=self.environment(direct, **(env or {})), **{
            "stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | popen)

    def finish(self, process):
        """Waits for the end and keeps status, out and err. A sanitizer's report fails the test."""
        try:
            out, err = process.communicate(timeout=LIMIT_S)
        finally:
            process.kill()
        self.status, self.out, self.err = process.returncode, self.neutral(out), self.neutral(err)
        self.case.assertEqual([path.read_text(errors="replace") for path in self.dir.glob("report*")], [])
        return self

    def run(self, *args, **how):
        return self.finish(self.start(*args, **how))

    def neutral(self, text):
        text = (text or b"").decode(errors="replace").replace(str(self.root), "R").replace(f"{self.build}/vandrel", "vandrel")
        return re.sub(r"duration \d+s!", "duration Ns!", text)

    def read(self, path):
        path = self.dir / path
        return self.neutral(path.read_bytes()) if path.is_file() else None

    diagnostics = property(lambda self: self.read("root/Data/Vandrel.stderr"))
    log = property(lambda self: self.read("root/tmp/Vandrel.log"))
    script = property(lambda self: self.read(SCRIPT))
    commands = property(lambda self: (self.read("commands.log") or "").splitlines())
    flashed = property(lambda self: [line[:7] for line in self.commands if line[8:].startswith("flash ")])

    def sent(self, drive):
        return [line.removeprefix(drive + " ") for line in self.commands if line.startswith(drive + " ")]

    def wait_for(self, text, path):
        deadline = time.monotonic() + LIMIT_S
        while text not in (self.read(path) or ""):
            self.case.assertLess(time.monotonic(), deadline, f"no {text!r} in {path}")
            time.sleep(0.01)
