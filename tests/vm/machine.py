"""The virtual machine: Debian's own kernel, an initramfs made of this machine's tools or of a bare Debian system, QEMU
in software emulation.

Nothing here knows what a scenario looks for.
"""

import dataclasses
import io
import os
import pathlib
import platform
import re
import select
import shutil
import subprocess
import sys
import time

PATIENCE_S = 150                # for the next thing to appear on a busy machine; 10 s is the longest usual
MIB, GIB, TIB = 1 << 20, 1 << 30, 1 << 40
TIME_LIMIT_S = 800              # below ctest's, so that it is we who say what was going on; 25 s is usual
HERE = pathlib.Path(__file__).resolve().parent

# What the guest loads by name; modprobe finds what these need in turn.
MODULES = ("virtio_pci", "virtio_console", "sd_mod", "sr_mod", "sg", "ahci", "virtio_scsi", "megaraid_sas", "xhci-pci",
           "usb-storage", "scsi_debug", "target_core_user", "tcm_loop", "ext4", "dm_mod", "raid1")
# Real programs, for /usr/bin; BusyBox, in /bin, comes after them on the guest's search path.
TOOLS = ("bash", "modprobe", "lsscsi", "sg_inq", "sg_readcap", "sg_modes", "hdparm", "sg_write_buffer", "dmsetup",
         "mdadm")


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, text=True, **options)


def output_of(*command):
    return run(*command, stdout=subprocess.PIPE).stdout


def made_once(root, make):
    """The directory root, which make(directory) fills under another name if it is not there: it is complete or absent."""
    fresh = root.with_name(root.name + ".new")
    if not root.is_dir():
        shutil.rmtree(fresh, ignore_errors=True)
        fresh.mkdir(parents=True)
        make(fresh)
        fresh.rename(root)
    return root


def unpack_kernel(fresh):
    """Unpacks the package that linux-image-amd64 depends on."""
    subprocess.run(["apt-get", "update", "-qq"], check=False)   # old lists name packages that are gone; root only
    package = re.search(r"Depends: (linux-image-\S+)", output_of("apt-cache", "depends", "linux-image-amd64"))[1]
    run("apt-get", "download", "-qq", package, cwd=fresh)
    [archive] = fresh.glob("*.deb")
    run("dpkg", "-x", archive, fresh)
    archive.unlink()
    if not (fresh / "lib").exists():            # modules lie below /usr from Debian 13 on
        (fresh / "lib").symlink_to("usr/lib")
    run("depmod", "-b", fresh, kernel_release(fresh))


def install_debian(fresh):
    """Debian's required packages, an init, what the package under test depends on, and real keyboard tools. Of this
    machine's own release: the package was built with its libraries."""
    run("debootstrap", "--variant=minbase", "--include=sysvinit-core,kmod,kbd,libncursesw6,sg3-utils",
        platform.freedesktop_os_release()["VERSION_CODENAME"], fresh, stdout=subprocess.DEVNULL)
    for unused in ("usr/share/doc", "usr/share/locale", "usr/share/man", "var/cache/apt", "var/lib/apt/lists"):
        shutil.rmtree(fresh / unused)
    shutil.rmtree(fresh / "dev")                # the kernel's own device files take their place
    (fresh / "dev").mkdir()


def unpacked_kernel(cache):
    return made_once(cache / "kernel", unpack_kernel)


def bare_debian(cache):
    return made_once(cache / "debian", install_debian)


def kernel_release(root):
    [image] = (root / "boot").glob("vmlinuz-*")
    return image.name.removeprefix("vmlinuz-")


def add_file(tree, source, target):
    copy = tree / str(target).lstrip("/")
    copy.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(source, copy)


def add_program(tree, program, target):
    """Copies a program and the shared libraries it needs; the libraries keep their paths."""
    add_file(tree, program, target)
    linked = subprocess.run(["ldd", program], capture_output=True, text=True, check=False)  # fails for a static one
    for library in re.findall(r"(/\S+) \(0x", linked.stdout):
        add_file(tree, library, library)


def add_modules(tree, kernel):
    release = kernel_release(kernel)
    wanted = {kernel / "lib/modules" / release / index
              for index in ("modules.order", "modules.builtin", "modules.builtin.modinfo")}
    for module in MODULES:
        shown = output_of("modprobe", "-d", kernel, "-S", release, "--show-depends", module)
        wanted.update(map(pathlib.Path, re.findall(r"^insmod (\S+)", shown, re.M)))
    for path in wanted:
        add_file(tree, path, path.relative_to(kernel))
    run("depmod", "-b", tree, release)


def pack(tree, archive):
    run("sh", "-c", "find . | cpio -o -H newc -R 0:0 --quiet", cwd=tree, stdout=archive)


def empty_tree(work):
    tree = work / "tree"
    shutil.rmtree(tree, ignore_errors=True)
    tree.mkdir(parents=True)
    return tree


def build_initramfs(work, kernel, vandrel, scenario):
    """Makes work/initramfs: the program under test, the reference tools, the modules, our guest scripts."""
    tree = empty_tree(work)
    for directory in ("dev", "proc", "sys", "tmp", "vm", "Data", "bin"):
        (tree / directory).mkdir()
    add_program(tree, "/bin/busybox", "bin/busybox")
    for tool in TOOLS:
        path = shutil.which(tool, path="/usr/sbin:/usr/bin:/sbin:/bin")
        add_program(tree, path or sys.exit(f"{tool} is not installed"), f"usr/bin/{tool}")
    (tree / "bin/bash").symlink_to("/usr/bin/bash")
    add_program(tree, vandrel, "usr/sbin/vandrel")
    add_program(tree, pathlib.Path(vandrel).with_name("vandrel-fw-download"), "usr/sbin/vandrel-fw-download")
    add_program(tree, os.environ["USER_DRIVE"], "usr/sbin/user_drive")
    add_modules(tree, kernel)
    for source, target in (("guest/init", "init"), ("guest/lib.sh", "vm/lib.sh"), ("guest/user_drives.sh", "vm/user_drives.sh"),
                           ("guest/fw_download", "vm/fw_download"), (f"scenarios/{scenario}.sh", "vm/scenario.sh")):
        add_file(tree, HERE / source, target)
    with open(work / "initramfs", "wb") as archive:
        pack(tree, archive)
    shutil.rmtree(tree)


def build_debian_initramfs(work, kernel, debian, files):
    """Makes work/initramfs: a bare Debian system that logs root in on the serial line, and files, path -> content."""
    tree = empty_tree(work)
    (tree / "usr/lib").mkdir(parents=True)
    (tree / "lib").symlink_to("usr/lib")        # as there
    add_modules(tree, kernel)
    add_file(tree, HERE / "guest/fw_download", "usr/local/sbin/fw_download")    # a site's own
    for path, content in files.items():
        (tree / path).parent.mkdir(parents=True, exist_ok=True)
        (tree / path).write_bytes(content)
        (tree / path).chmod(0o755)
    with open(work / "initramfs", "wb") as archive:
        pack(debian, archive)
        pack(tree, archive)                     # unpacked later, over the first
    shutil.rmtree(tree)


def qemu(work, kernel, devices, *options):
    """The command that starts the machine. It must not outlive us."""
    # Always software emulation: a nested KVM may exist and hang.
    command = ["setpriv", "--pdeathsig", "KILL", "qemu-system-x86_64", "-accel", "tcg", "-m", "1024", "-no-reboot",
               "-nodefaults", "-display", "none", "-kernel", kernel / "boot" / f"vmlinuz-{kernel_release(kernel)}",
               "-initrd", work / "initramfs", "-append", "console=ttyS0 quiet panic=-1 scsi_mod.scan=sync", *devices,
               *options]
    return [str(word) for word in command]


def boot(work, kernel, devices, skip_idle_time):
    """Boots and waits for the power-off. Returns None, or a text saying how it went wrong. What the guest recorded is
    in work/results also after a failure, its console in work/console.

    skip_idle_time: the guest's clock jumps over the time that it sleeps, so a pause of ten seconds costs nothing."""
    options = ["-serial", f"file:{work / 'console'}", "-chardev", f"file,id=results,path={work / 'results'}",
               "-device", "virtio-serial-pci", "-device", "virtserialport,chardev=results"]
    if skip_idle_time:
        options += ["-icount", "shift=auto,sleep=off"]
    try:
        subprocess.run(qemu(work, kernel, devices, *options), check=True, timeout=TIME_LIMIT_S,
                       stdin=subprocess.DEVNULL)
    except subprocess.TimeoutExpired:
        return f"the machine was still running after {TIME_LIMIT_S} s"
    except subprocess.CalledProcessError as error:
        return f"QEMU ended with status {error.returncode}"
    return None


class Keyboard:
    """Somebody at the machine's serial line: sends keys, waits for what must appear. The line's output is logged."""

    def __init__(self, log, command):
        self.log = open(log, "wb", buffering=0)
        self.machine = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.seen = b""

    def wait_for(self, pattern):
        """Waits for a match in what was not yet matched, in which each run of blanks and of control sequences is one
        blank. Returns the match; LookupError when the machine ends before, or takes too long."""
        limit = time.monotonic() + PATIENCE_S
        while True:
            text = re.sub(r"(?:\x1b(?:[@-Z\\^_=>78]|\[[0-?]*[ -/]*[@-~]|[()].)|[\s\x0e\x0f])+", " ",
                          self.seen.decode(errors="replace"))
            if found := re.search(pattern, text):
                self.seen = text[found.end():].encode()
                return found
            ready, _, _ = select.select([self.machine.stdout], [], [], max(limit - time.monotonic(), 0))
            output = self.machine.stdout.read(65536) if ready else b""
            self.log.write(output)
            self.seen += output
            if not output:
                raise LookupError(f"waited in vain for {pattern!r}")

    def type(self, keys):
        self.machine.stdin.write(keys.encode())

    def wait_for_power_off(self):
        self.wait_for("Power down")
        if status := self.machine.wait(60):
            raise LookupError(f"QEMU ended with status {status}")


def operate(work, kernel, devices, session):
    """Boots and lets session(keyboard) type at the serial line until the machine powers itself off. Returns None, or a
    text saying how it went wrong."""
    keyboard = Keyboard(work / "console", qemu(work, kernel, devices, "-chardev", "stdio,id=line,signal=off",
                                               "-serial", "chardev:line"))
    try:
        session(keyboard)
        keyboard.wait_for_power_off()
    except LookupError as error:
        return str(error)
    finally:
        keyboard.log.close()
        keyboard.machine.kill()
    return None


class Devices:
    """Collects QEMU's arguments for the devices of a scenario."""

    def __init__(self, *adapters):
        self.arguments = []
        for adapter in adapters:                # each under its own name: the disks' bus is "name.number"
            self.arguments += ["-device", f"{adapter},id={adapter}"]

    def disk(self, device, size, **properties):
        """A device with a medium of size bytes that reads as zeroes and takes no room."""
        node = f"medium{len(self.arguments)}"
        words = [f"{name.replace('scsi_id', 'scsi-id')}={value}" for name, value in properties.items()]
        self.arguments += ["-blockdev", f"driver=null-co,node-name={node},size={size},read-zeroes=on",
                           "-device", ",".join([device, f"drive={node}", *words])]

    def sata(self, port, size, **properties):
        self.disk("ide-hd", size, bus=f"ich9-ahci.{port}", **properties)

    def sas(self, scsi_id, product, serial, size=GIB, vendor="ACME", ver="0001", **properties):
        if serial:
            properties["serial"] = serial
        self.disk("scsi-hd", size, bus="virtio-scsi-pci.0", scsi_id=scsi_id, vendor=vendor, product=product, ver=ver,
                  **properties)


@dataclasses.dataclass
class Result:
    """What one recorded command did; status is None when it was begun and never ended."""
    status: int | None = None
    out: str = ""
    err: str = ""


def read_results(path):
    """Name -> Result. The stream holds lines "BEGIN name" and "DONE name status lengths", the latter before outputs."""
    results = {}
    stream = io.BytesIO(path.read_bytes() if path.exists() else b"")
    for line in stream:
        name, *numbers = line.decode().split()[1:]
        if numbers:
            status, *lengths = map(int, numbers)
            results[name] = Result(status, *(stream.read(length).decode(errors="replace") for length in lengths))
        else:
            results[name] = Result()
    return results
