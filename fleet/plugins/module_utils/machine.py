"""A host as vandrel sees it: the program, its listing, who uses the drives."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os
import subprocess

from ansible_collections.vandrel.fleet.plugins.module_utils import checksums, kernel, listing

ARGUMENTS = dict(
    program=dict(type="str", default="vandrel"),
    rehearse=dict(type="str", default="vandrel-rehearse"),
    root=dict(type="path", default="/"),
    rehearsal_listing=dict(type="path"),
    rehearsal_dir=dict(type="path"),
    rehearsal_words=dict(type="dict", default={}),
    rehearsal_power_cycle=dict(type="bool", default=False),
)
LOG = "/tmp/Vandrel.log"  # below the tree
KEPT = 1 << 20  # of a file of a run
LISTING_LIMIT = 300  # seconds


class Machine(object):
    """Where things are, on a real host or in a rehearsal. `system` holds proc, sys and dev, `tree` what vandrel -R
    names."""

    def __init__(self, params):
        self.rehearsed = bool(params["rehearsal_listing"])
        self.tree_is_made_up = self.rehearsed and params["root"] == "/"
        if not self.rehearsed:
            self.command = [params["program"]] + (["-R", params["root"]] if params["root"] != "/" else [])
            self.system, self.tree = "", params["root"].rstrip("/")
            return
        self.system = params["rehearsal_dir"]
        self.tree = os.path.join(self.system, "root")
        inventory = self.system.rstrip("/") + ".inventory"
        self._write_inventory(params["rehearsal_listing"], inventory, params["rehearsal_words"])
        self.command = [params["rehearse"], "--dir", self.system]
        self.command += (["--power-cycle"] if params["rehearsal_power_cycle"] else []) + [inventory]
        if params["root"] != "/":
            self.command += ["-R", params["root"]]

    @staticmethod
    def _write_inventory(source, target, words):
        if not os.path.isdir(os.path.dirname(target)):
            os.makedirs(os.path.dirname(target))
        with open(source, "rb") as file:
            lines = file.read().decode("utf-8", "surrogateescape").split("\n")
        words = dict(words)
        for number, line in enumerate(lines):
            drive = listing.parse_drive(line)
            if drive and drive["target"] in words:
                lines[number] = line + " " + words.pop(drive["target"])
        if words:
            raise ValueError("faults for drives that are not listed: " + ", ".join(sorted(words)))
        with open(target, "wb") as file:
            file.write("\n".join(lines).encode("utf-8", "surrogateescape"))

    def run(self, *arguments):
        """(exit status, standard output, error stream). What can't be started has status 127; what a drive that does
        not answer keeps from ending has 124."""
        try:
            process = subprocess.Popen(self.command + list(arguments), stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        except OSError as error:
            return 127, "", "%s: %s" % (self.command[0], error.strerror)
        try:
            out, err = process.communicate(timeout=LISTING_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()  # it only looks
            return 124, "", "no end within %d s: a drive does not answer" % LISTING_LIMIT
        return process.returncode, out.decode("utf-8", "replace"), err.decode("utf-8", "replace")

    def text(self, path, limit=KEPT):
        """The end of a file below the tree."""
        return kernel.read(self.tree + path)[-limit:]

    def log_time(self):
        """When the log of an unattended run was written, in seconds since the epoch; 0 without one."""
        try:
            return os.path.getmtime(self.tree + LOG)
        except OSError:
            return 0

    def map_text(self):
        return self.text("/Data/Map.txt", 1 << 24)


def of(module):
    """The machine that a module's options describe. The module fails when a rehearsal can't be made of them."""
    try:
        return Machine(module.params)
    except (OSError, ValueError) as error:
        module.fail_json(msg=str(error))


def list_drives(machine):
    """(drives, listing's text, what went wrong or ""). Each drive has `use`, the reasons for which it is in use, and
    `label`, "current" or "no image", for a drive that gets no image. SCSI drives are asked themselves for their
    revision: the listing has the one that the kernel found, but that of IDENTIFY DEVICE for ATA drives."""
    status, out, err = machine.run("--list")
    drives, rejected = listing.parse_listing(out)
    if status:
        return [], out, "vandrel --list ended with status %d: %s" % (status, err.strip()[-500:])
    if rejected:
        return [], out, "not a drive's line: " + repr(rejected[0])
    map_text = machine.map_text()
    for drive in drives:
        direct = not listing.is_controller(drive)
        if direct and not machine.rehearsed and not drive["vendor"].startswith("ATA"):
            drive["revision"] = kernel.inquiry_revision(drive["adapter"]) or drive["revision"]
        drive["use"] = kernel.disk_use(machine.system, drive["adapter"]) if direct else []
        drive["id"] = kernel.drive_id(machine.system, drive["adapter"]) if direct else ""
        if drive["image"] and drive["revision"] == drive["new_revision"]:
            drive["image"] = ""  # offered for the revision that the kernel remembers
        drive["label"] = "current" if listing.is_current(drive, map_text) else "no image"
    share_uses([drive for drive in drives if not listing.is_controller(drive)])
    return drives, out, ""


def share_uses(disks):
    """Several paths to one drive, or logical units of one, are used when one of them is; of paths only one is flashed."""
    own = dict((disk["target"], list(disk["use"])) for disk in disks)
    for number, disk in enumerate(disks):
        for other in disks[:number] + disks[number + 1:]:
            is_path = disk["id"] and disk["id"] == other["id"]
            if is_path or (disk["host"], disk["slot"]) == (other["host"], other["slot"]):
                disk["use"] += ["%s of %s" % (use, other["adapter"]) for use in own[other["target"]]]
            if is_path and other in disks[:number]:
                disk["use"].append("the same drive as " + other["adapter"])


def as_inventory(text, drives):
    """The listing with the rehearsal's word for drives in use, so that it leaves the same ones alone."""
    used = set(drive["target"] for drive in drives if drive["use"])
    lines = text.split("\n")
    for number, line in enumerate(lines):
        drive = listing.parse_drive(line)
        if drive and drive["target"] in used:
            lines[number] = line + " in-use"
    return "\n".join(lines)


def survey(machine):
    """Everything that is to be known of the host before anything is done to it. Drives come last: what is said of their
    use ages."""
    sums = {} if machine.tree_is_made_up else checksums.tree_sums(machine.tree)
    version = machine.run("-V", "-V")[2].strip()  # it goes to the error stream
    drives, text, error = list_drives(machine)
    return dict(drives=drives, listing=text, inventory=as_inventory(text, drives), error=error,
                version="" if error else version, checksums=sums, map=machine.map_text())
