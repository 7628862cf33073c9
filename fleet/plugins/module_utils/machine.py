"""A host as vandrel sees it: the program, its listing, the checksums of its tree, and a job that flashes."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import fcntl
import hashlib
import os
import re
import signal
import subprocess
import time

from ansible_collections.vandrel.fleet.plugins.module_utils import kernel, listing

ARGUMENTS = dict(
    program=dict(type="str", default="vandrel"),
    rehearse=dict(type="str", default="vandrel-rehearse"),
    root=dict(type="path", default="/"),
    rehearsal_listing=dict(type="path"),
    rehearsal_dir=dict(type="path"),
    rehearsal_words=dict(type="dict", default={}),
    rehearsal_power_cycle=dict(type="bool", default=False),
)
SEARCHED = ("sbin", "bin", "lib", "lib64", "usr", "root/bin")
WRITTEN_BY_RUNS = ("Vandrel.log", "Vandrel.log~", "Vandrel.stderr")
LOG = "/tmp/Vandrel.log"  # below the tree
KEPT = 1 << 20  # of a log
STILL_WRITING = "its tool may still be writing"
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


def file_sum(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        for block in iter(lambda: file.read(1 << 20), b""):
            digest.update(block)
    return digest.hexdigest()


def tree_sums(tree):
    """{name below the tree: SHA-256} of map, images and whatever else lies in Data, but not what runs write there, and of
    the programs and libraries of a tree of its own: they come before the system's."""
    sums = {}
    folders = [tree + "/Data"] + [os.path.join(tree, name) for name in SEARCHED if tree]
    for folder, unused, files in (entry for top in folders for entry in os.walk(top, followlinks=True)):
        for name in files:
            path = os.path.join(folder, name)
            if name not in WRITTEN_BY_RUNS and os.path.isfile(path):
                sums[os.path.relpath(path, tree or "/")] = file_sum(path)
    return sums


def verify_sums(tree, text, sums, map_text):
    """What is wrong with the tree, whose files have the given sums, by the lines of its SHA256SUMS: files that are
    missing, that differ, or that are not listed, the map's images among them. Empty when all is well."""
    wanted = {}
    for line in text.splitlines():
        digest, blank, name = line.partition(" ")
        if name:
            wanted[os.path.normpath(name[1:])] = digest
    wrong = []
    for name in sorted(wanted):
        path = os.path.join(tree or "/", name)
        actual = sums.get(name) or (file_sum(path) if os.path.isfile(path) else None)
        if actual != wanted[name].lower():
            wrong.append(name + (": the checksum differs" if actual else ": is missing"))
    listed = set(os.path.realpath(os.path.join(tree or "/", name)) for name in wanted)
    images = set(os.path.join("Data", fields[3]) for fields in listing.rules(map_text) if fields[3] != "-")
    return wrong + [name + ": has no checksum" for name in sorted(images.union(sums))
                    if os.path.lexists(os.path.join(tree or "/", name))
                    and os.path.realpath(os.path.join(tree or "/", name)) not in listed]


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
    checksums = {} if machine.tree_is_made_up else tree_sums(machine.tree)
    version = machine.run("-V", "-V")[2].strip()  # it goes to the error stream
    drives, text, error = list_drives(machine)
    return dict(drives=drives, listing=text, inventory=as_inventory(text, drives), error=error,
                version="" if error else version, checksums=checksums, map=machine.map_text())


def skip_reason(drive, params):
    """Why a drive that has an image is left alone; empty when it is to be flashed."""
    if params["targets"] and drive["target"] not in params["targets"]:
        return "not chosen"
    if listing.is_controller(drive):
        return "" if params["drained"] else "behind a controller, and the host is not declared drained"
    if drive["use"] and drive["target"] not in params["allow_in_use"]:
        return "in use: " + "; ".join(drive["use"])
    if not listing.TARGET.fullmatch(drive["target"]):
        return "can't be named as a target"
    return ""


def plan(drives, params, pending):
    """A record for each drive: what it was, the state it has if nothing is flashed, and whether it is to be flashed.
    Drives in `pending` were flashed since the machine was started."""
    records = []
    for drive in drives:
        record = dict((name, drive[name]) for name in ("target", "vendor", "model", "image", "id"))
        record.update(before=drive["revision"], wanted=drive["new_revision"], after=drive["revision"], chosen=False,
                      state=drive["label"], reason="")
        if drive["image"]:
            record["reason"] = skip_reason(drive, params)
            record["chosen"] = not record["reason"]
            record["state"] = "planned" if record["chosen"] else "skipped"
            if record["chosen"] and identity(record) in pending:
                record.update(chosen=False, state="needs power cycle", reason="was flashed since the machine was started")
        records.append(record)
    return records


def identity(record):
    return "|".join((record["id"] or record["target"], record["model"], record["wanted"], record["before"]))


class Pending(object):
    """The drives that were flashed and wait for a power cycle. A new start of the machine may have been one."""

    def __init__(self, machine, folder):
        self.path = os.path.join(folder, "pending")
        self.boot = kernel.read(machine.system + "/proc/sys/kernel/random/boot_id").strip()
        lines = kernel.read(self.path).splitlines()
        self.drives = set(lines[1:]) if self.boot and lines[:1] == [self.boot] else set()

    def add(self, records):
        self.drives.update(identity(record) for record in records if record["state"] == "needs power cycle")
        if self.drives:
            with open(self.path, "wb") as file:
                file.write("\n".join([self.boot] + sorted(self.drives)).encode("utf-8", "replace"))


def moves_heads_in_use(machine, drives, params):
    """A run unloads and loads the heads of all drives as soon as Data/ULL has a rule. Which drives in use that would
    reach."""
    if not any(True for unused in listing.rules(machine.text("/Data/ULL", 1 << 24))):
        return []
    return [drive["target"] for drive in drives
            if drive["use"] and drive["target"] not in params["allow_in_use"]
            or listing.is_controller(drive) and not params["drained"]]


def take_lock(folder):
    """An open file while no other job is at work on this host, else None. The program and its tools inherit it: a job
    whose watcher was killed holds it to its end."""
    if not os.path.isdir(folder):
        os.makedirs(folder, 0o700)
    lock = open(os.path.join(folder, "lock"), "wb")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        lock.close()
        return None
    return lock


def ends_within(process, seconds):
    stop = time.time() + seconds
    while process.poll() is None and time.time() < stop:
        time.sleep(0.1)
    return process.poll() is not None


def flash(machine, targets, params, lock):
    """Runs vandrel in a session of its own and waits. After the time limit it is asked to stop, which it does when the
    drive at work is done; a tool that writes a drive is never killed. (status or None when it goes on, output,
    errors)."""
    paths = [os.path.join(params["job_dir"], name) for name in ("results", "errors")]
    with open(paths[0], "wb") as out, open(paths[1], "wb") as err:
        process = subprocess.Popen(machine.command + ["--targets", ":".join(targets)], stdin=subprocess.DEVNULL,
                                   stdout=out, stderr=err, start_new_session=True, pass_fds=[lock.fileno()])
    if not ends_within(process, params["time_limit"]):
        process.send_signal(signal.SIGTERM)
        ends_within(process, params["grace"])
    return process.poll(), kernel.read(paths[0]), kernel.read(paths[1])


def told_by_log(log):
    """What the log tells of each drive that was begun, in their order: it has one such line for each."""
    starts = [match.start() for match in re.finditer(r"(?m)^(?:Now executing: |No command$)", log)]
    return [log[start:end] for start, end in zip(starts, starts[1:] + [len(log)])]


def last_words(part):
    """The end of what the tool said of a drive, each line once: there are several attempts. After each of them the log
    repeats the command."""
    lines = []
    for line in part.splitlines()[1:]:
        if line.strip() and not line.startswith("Command "):
            lines = [other for other in lines[-20:] if other != line.strip()] + [line.strip()]
    return " | ".join(lines[-3:])[-600:] or ("no flashing tool for it" if part.startswith("No command") else
                                             "nothing in the log")


def judge(record, now, part, result, running):
    """The state of a drive that was to be flashed: `now` as freshly listed, `part` what the log tells of it, None when
    it was not begun, `running` when its tool may be at work still. The fresh listing has the last word, not the result
    line."""
    record["after"] = now["revision"] if now else ""
    if running:
        record.update(state="failed", reason="no end within the time limit; " + STILL_WRITING)
    elif now is None:
        record.update(state="gone", reason="is no longer listed; " + last_words(part or ""))
    elif now["revision"] == record["wanted"]:
        record.update(state="updated", reason="")
    elif part is None:
        record.update(state="failed", reason="not attempted, the run ended before")
    elif result == "SUCCESS":
        record.update(state="needs power cycle", reason="the tool succeeded, the drive still runs " + now["revision"])
    else:
        record.update(state="failed", reason=last_words(part))


def judge_all(records, drives, log, results, running):
    """Of drives that were not to be flashed, too: one may have left the machine meanwhile."""
    parts, chosen = told_by_log(log), [record for record in records if record["chosen"]]
    listing.look_again([record for record in records if not record["chosen"]], drives, "after the run")
    for number, record in enumerate(chosen):
        part = parts[number] if number < len(parts) else None
        done = part and re.search(r"(?m)^Firmware update of drive \d+ of \d+ successful", part)
        judge(record, listing.find(drives, record), part, results.get(record["target"], "SUCCESS" if done else ""),
              running and number == max(len(parts) - 1, 0))


def keep_back(chosen, reason):
    for record in chosen:
        record.update(state="skipped", reason="the host failed: " + reason[:200])


def update(machine, params):
    """Lists, chooses, flashes, lists again: (what changed, report of the host). A job at work elsewhere is left alone,
    its drives too."""
    lock = None if params["check"] else take_lock(params["job_dir"])
    if not lock and not params["check"]:
        return False, dict(records=[], error="an earlier job is still at work on this host")
    try:
        return update_locked(machine, params, lock)
    finally:
        if lock:
            lock.close()


def update_locked(machine, params, lock):
    report, pending = survey(machine), Pending(machine, params["job_dir"])
    drives = report.pop("drives")
    report.update(records=plan(drives, params, pending.drives), log="", diagnostics="", result_lines="")
    chosen = [record for record in report["records"] if record["chosen"]]
    report["error"] = report["error"] or refusal(machine, params, report, drives, chosen)
    if report["error"]:
        keep_back(chosen, report["error"])
        return False, report
    if not chosen or params["check"]:
        return bool(chosen), report
    changed = flash_chosen(machine, params, chosen, report, lock)
    pending.add(chosen)
    return changed, report


def refusal(machine, params, report, drives, chosen):
    """Why nothing is to be flashed on this host; empty when all is well."""
    unknown = set(params["targets"] + params["allow_in_use"]) - set(drive["target"] for drive in drives)
    if unknown:
        return "no such drive: " + " ".join(sorted(unknown))
    if params["checksums"]:
        sums, tree = kernel.read(params["checksums"]), params["root"].rstrip("/")
        known = report["checksums"] or tree_sums(tree)
        wrong = verify_sums(tree, sums, known, report["map"]) if sums.strip() else [
            params["checksums"] + ": is missing or empty"]
        if wrong:
            return "; ".join(wrong[:10])
    reached = moves_heads_in_use(machine, drives, params) if chosen else []
    return "Data/ULL has a rule, and a run moves the heads of drives in use: " + " ".join(reached) if reached else ""


def flash_chosen(machine, params, chosen, report, lock):
    """Whether anything was begun."""
    start = time.time()
    status, out, err = flash(machine, [record["target"] for record in chosen], params, lock)
    results = listing.parse_results(out)
    log = machine.text(LOG, 1 << 26) if machine.log_time() > start - 1 else ""
    # Another run is at work, or start-up failed: no drive was touched.
    begun = status in (0, None) or log or results
    drives, report["listing"], error = list_drives(machine)
    if status != 0:
        report["error"] = err.strip()[-500:] or ("the run did not end in time" if status is None else
                                                 "vandrel ended with status %d" % status)
    report.update(result_lines=out, log=log[-KEPT:], diagnostics=machine.text("/Data/Vandrel.stderr"))
    if not begun:
        keep_back(chosen, report["error"])
    elif error:
        report["error"] = error
        for record in chosen:
            record.update(state="failed", after="", reason="the drives can't be listed after the run: " + error)
    else:
        judge_all(report["records"], drives, log, results, status is None)
    return bool(begun)
