"""A machine of QEMU's with the stick in it, its screen and keyboard, and what a run left behind."""

import hashlib
import pathlib
import re
import shutil
import socket
import subprocess
import time

import machine
from foreign import make_disk

OVMF = pathlib.Path("/usr/share/OVMF")
KEYS = {" ": "spc", ",": "comma", "!": "shift-1", "\r": "ret", "\n": "ret"}


class Vga:
    """Somebody at the screen and the keyboard: reads the text screens out of the card's memory, through which they scroll."""

    def __init__(self, monitor):
        self.monitor = monitor
        self.pictures = 0

    def wait_for(self, pattern):
        limit = time.monotonic() + machine.PATIENCE_S
        while time.monotonic() < limit:
            words = re.findall(r"0x[0-9a-f]{2}([0-9a-f]{2})", self.monitor.ask("xp /16384hx 0xb8000"))
            text = re.sub(r"\s+", " ", bytes(int(word, 16) for word in words).decode("cp437").replace("\0", " "))
            if re.search(pattern.rstrip("$"), text):
                self.pictures += 1
                self.monitor.ask(f"screendump {self.monitor.path.with_name('screen')}-{self.pictures}.png -f png")
                return
            time.sleep(0.5)
        raise LookupError(f"waited in vain for {pattern!r} on the screen: {text}")

    def type(self, keys):
        for key in keys:
            self.monitor.ask("sendkey " + KEYS.get(key, f"shift-{key.lower()}" if key.isupper() else key))
            time.sleep(0.15)


class Monitor:
    def __init__(self, path):
        self.path = path

    def ask(self, command):
        while not self.path.exists():           # QEMU has just been started
            time.sleep(0.2)
        with socket.socket(socket.AF_UNIX) as line:
            line.settimeout(10)
            line.connect(str(self.path))
            said = b""
            while not said.endswith(b"(qemu) "):
                said += line.recv(65536)
            line.sendall(command.encode() + b"\n")
            said = b""
            while not said.endswith(b"(qemu) "):
                said += line.recv(65536)
            return said.decode(errors="replace")


class Machine:
    """A machine with the stick in it, running. Leaves its disks behind."""

    running = []

    def __init__(self, work, image, *options, firmware="bios", vga="std", stick=True, models=("ALPHA", "BETA"), foreign=True):
        self.stick, self.disk = work / "stick.img", work / "disk.img"
        (work / "monitor").unlink(missing_ok=True)
        shutil.copy(image, self.stick)
        make_disk(self.disk)
        self.disk_before = self.disk_now()
        command = ["setpriv", "--pdeathsig", "KILL", "qemu-system-x86_64", "-accel", "tcg", "-m", "1024", "-no-reboot", "-display",
                   "none", "-vga", vga, "-smbios", "type=1,serial=SRV1", "-device", "usb-ehci,id=usb",
                   "-device", "virtio-scsi-pci,id=hba", "-device", "ich9-ahci,id=sata", "-monitor",
                   f"unix:{work}/monitor,server=on,wait=off", "-chardev", "stdio,id=line,signal=off", "-serial", "chardev:line",
                   *self.firmware(firmware, work), *options]
        if foreign:
            command += ["-drive", f"if=none,id=disk,file={self.disk},format=raw", "-device", "ide-hd,bus=sata.0,drive=disk"]
        if stick:
            command += ["-drive", f"if=none,id=usb,file={self.stick},format=raw", "-device", "usb-storage,bus=usb.0,drive=usb,bootindex=0"]
        for number, model in enumerate(models):
            command += ["-blockdev", f"driver=null-co,node-name=drive{number},size=1073741824,read-zeroes=on", "-device",
                        f"scsi-hd,bus=hba.0,scsi-id={number},vendor=ACME,product={model},ver=0001,serial=S{number},drive=drive{number}"]
        self.line = machine.Keyboard(work / "console", [*map(str, command), *([] if "-nic" in options else ["-nic", "none"])])
        self.running.append(self.line.machine)
        self.monitor = Monitor(work / "monitor")

    @staticmethod
    def firmware(kind, work):
        if kind == "bios":
            return ["-machine", "q35"]
        signed = ".ms" if kind == "secure" else ""
        variables = shutil.copy(OVMF / f"OVMF_VARS_4M{signed}.fd", work / "variables.fd")
        secure = ["-global", "driver=cfi.pflash01,property=secure,value=on"] if signed else []
        return ["-machine", "q35,smm=on" if signed else "q35", *secure,
                "-drive", f"if=pflash,unit=0,format=raw,readonly=on,file={OVMF}/OVMF_CODE_4M{signed}.fd",
                "-drive", f"if=pflash,unit=1,format=raw,file={variables}"]

    def disk_now(self):
        return hashlib.sha256(self.disk.read_bytes()).hexdigest()

    def end(self):
        """Waits for the machine to switch itself off; its own disk must be as it was."""
        self.line.machine.wait(machine.PATIENCE_S)
        expect("the machine's own disk", self.disk_before, self.disk_now())

    def kept(self):
        """Name -> content of the run's files on the data partition, which must be sound once it was looked over."""
        part = self.stick.with_name("data.img")
        with open(self.stick, "rb") as stick:
            stick.seek(data_start(self.stick))
            part.write_bytes(stick.read(64 << 20))
        subprocess.run(["fsck.vfat", "-a", part], capture_output=True)
        expect("the file system", 0, subprocess.run(["fsck.vfat", "-n", part], capture_output=True).returncode)
        target = self.stick.with_name("kept")
        shutil.rmtree(target, ignore_errors=True)
        target.mkdir()
        subprocess.run(["mcopy", "-s", "-n", "-i", part, "::/runs", target], check=True, capture_output=True)
        return read_run(target / "runs")


def data_start(stick):
    """Where the data partition begins, in bytes."""
    table = subprocess.run(["sgdisk", "-i", "1", stick], check=True, capture_output=True, text=True).stdout
    return int(re.search(r"First sector: (\d+)", table)[1]) * 512


def read_run(directory):
    [folder] = directory.iterdir()
    expect("the folder's name", True, bool(re.fullmatch(r"SRV1-\d{8}T\d{6}Z", folder.name)))
    return {path.name: path.read_text() for path in folder.iterdir()}


def expect(what, wanted, seen):
    if wanted != seen:
        raise LookupError(f"{what}: {seen!r}, and not {wanted!r}")
