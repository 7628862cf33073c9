"""A host as vandrel sees it: the program, its listing, the checksums of its tree, and a job that flashes."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import hashlib
import os
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
WRITTEN_BY_RUNS = ("Vandrel.log", "Vandrel.log~", "Vandrel.stderr")
BUSY_STATUS = 1
KEPT = 1 << 20  # of a log


class Machine(object):
    """Where things are, on a real host or in a rehearsal. `system` holds proc, sys and dev, `tree` what vandrel -R
    names."""

    def __init__(self, params):
        self.rehearsed = bool(params["rehearsal_listing"])
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
        for number, line in enumerate(lines):
            drive = listing.parse_drive(line)
            if drive and words.get(drive["target"]):
                lines[number] = line + " " + words[drive["target"]]
        with open(target, "wb") as file:
            file.write("\n".join(lines).encode("utf-8", "surrogateescape"))

    def run(self, *arguments):
        """(exit status, standard output, error stream). What can't be started has status 127."""
        try:
            process = subprocess.Popen(self.command + list(arguments), stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        except OSError as error:
            return 127, "", "%s: %s" % (self.command[0], error.strerror)
        out, err = process.communicate()
        return process.returncode, out.decode("utf-8", "replace"), err.decode("utf-8", "replace")

    def text(self, path, limit=KEPT):
        """The end of a file below the tree."""
        return kernel.read(self.tree + path)[-limit:]

    def map_text(self):
        return self.text("/Data/Map.txt", 1 << 24)


def file_sum(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        for block in iter(lambda: file.read(1 << 20), b""):
            digest.update(block)
    return digest.hexdigest()


def tree_sums(tree):
    """{name below the tree: SHA-256} of map, images and whatever else lies in Data, but not what runs write there."""
    sums = {}
    for folder, unused, files in os.walk(tree + "/Data", followlinks=True):
        for name in files:
            path = os.path.join(folder, name)
            if name not in WRITTEN_BY_RUNS and os.path.isfile(path):
                sums[os.path.relpath(path, tree or "/")] = file_sum(path)
    return sums


def verify_sums(tree, text):
    """What is wrong with the tree by the lines of its SHA256SUMS: files that are missing, that differ, or below Data
    and not listed. Empty when all is well."""
    wanted = {}
    for line in text.splitlines():
        digest, blank, name = line.partition(" ")
        if name:
            wanted[os.path.normpath(name[1:])] = digest
    sums = tree_sums(tree)
    wrong = []
    for name in sorted(wanted):
        path = os.path.join(tree or "/", name)
        actual = sums.get(name) or (file_sum(path) if os.path.isfile(path) else None)
        if actual != wanted[name].lower():
            wrong.append(name + (": the checksum differs" if actual else ": is missing"))
    return wrong + [name + ": has no checksum" for name in sorted(sums) if name not in wanted]


def list_drives(machine, fresh=False):
    """(drives, listing's text, what went wrong or ""). Each drive has `use`, the reasons for which it is in use, and
    `label`, "current" or "no image", for a drive that gets no image. `fresh` asks SCSI drives themselves for their
    revision."""
    status, out, err = machine.run("--list")
    drives, rejected = listing.parse_listing(out)
    if status:
        return [], out, "vandrel --list ended with status %d: %s" % (status, err.strip()[-500:])
    if rejected:
        return [], out, "not a drive's line: " + repr(rejected[0])
    map_text = machine.map_text()
    for drive in drives:
        direct = not listing.is_controller(drive)
        if fresh and direct and not machine.rehearsed and not drive["vendor"].startswith("ATA"):
            drive["revision"] = kernel.inquiry_revision(drive["adapter"]) or drive["revision"]
        drive["use"] = kernel.disk_use(machine.system, drive["adapter"]) if direct else []
        drive["label"] = "current" if listing.is_current(drive, map_text) else "no image"
    return drives, out, ""


def survey(machine):
    """Everything that is to be known of the host before anything is done to it."""
    drives, text, error = list_drives(machine)
    version = machine.run("-V", "-V")[2].strip() if not error else ""  # it goes to the error stream
    return dict(drives=drives, listing=text, error=error, version=version, checksums=tree_sums(machine.tree),
                map=machine.map_text())


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


def plan(drives, params):
    """A record for each drive: what it was, the state it has if nothing is flashed, and whether it is to be flashed."""
    records = []
    for drive in drives:
        record = dict((name, drive[name]) for name in ("target", "vendor", "model", "image"))
        record.update(before=drive["revision"], wanted=drive["new_revision"], after=drive["revision"], chosen=False,
                      state=drive["label"], reason="")
        if drive["image"]:
            record["reason"] = skip_reason(drive, params)
            record["chosen"] = not record["reason"]
            record["state"] = "planned" if record["chosen"] else "skipped"
        records.append(record)
    return records


def flash(machine, targets, limit_s, grace_s, folder):
    """Runs vandrel in a session of its own and waits. After the time limit it is asked to stop, which it does when the
    drive at work is done; a tool that writes a drive is never killed. (status or None when it goes on, output,
    errors)."""
    if not os.path.isdir(folder):
        os.makedirs(folder, 0o700)
    paths = [os.path.join(folder, name) for name in ("results", "errors")]
    with open(paths[0], "wb") as out, open(paths[1], "wb") as err:
        process = subprocess.Popen(machine.command + ["--targets", ":".join(targets)], stdin=subprocess.DEVNULL,
                                   stdout=out, stderr=err, start_new_session=True)
    stop = time.time() + limit_s
    while process.poll() is None and time.time() < stop:
        time.sleep(0.1)
    if process.poll() is None:
        process.send_signal(signal.SIGTERM)
        stop = time.time() + grace_s
        while process.poll() is None and time.time() < stop:
            time.sleep(0.1)
    return process.poll(), kernel.read(paths[0]), kernel.read(paths[1])


def last_words(log, number):
    """The end of what the tool said of the drive that was flashed as the number-th. The log has one such line for each
    drive, and repeats the command after each failed attempt."""
    parts = ("\n" + log).split("\nNow executing: ")
    if number >= len(parts):
        return "nothing in the log"
    lines = [line.strip() for line in parts[number].splitlines()[1:]]
    return " | ".join([line for line in lines if line and not line.startswith("Command ")][-3:])[-600:]


def judge(record, number, result, drives, log, running):
    """The state of a drive that was to be flashed. The fresh listing has the last word, not the result line."""
    now = drives.get(record["target"])
    if running:
        record.update(state="failed", after=now["revision"] if now else "",
                      reason="no end within the time limit; its tool may still be writing")
        return
    if now is None or now["model"] != record["model"]:
        record.update(state="gone", after="", reason="is no longer listed; " + last_words(log, number))
        return
    record["after"] = now["revision"]
    if now["revision"] == record["wanted"]:
        record.update(state="updated", reason="")
    elif result == "SUCCESS":
        record.update(state="needs power cycle", reason="the tool succeeded, the drive still runs " + now["revision"])
    else:
        reason = last_words(log, number) if result else "not attempted, the run ended before"
        record.update(state="failed", reason=reason)


def update(machine, params):
    """Lists, chooses, flashes, lists again: (what changed, report of the host)."""
    drives, text, error = list_drives(machine, fresh=True)
    report = dict(records=plan(drives, params), before=text, listing=text, error=error,
                  map=machine.map_text(), log="", diagnostics="", result_lines="")
    sums = kernel.read(params["checksums"]) if params["checksums"] else ""
    if not error and params["checksums"]:
        tree = params["root"].rstrip("/")
        wrong = verify_sums(tree, sums) if sums.strip() else [params["checksums"] + ": is missing or empty"]
        report["error"] = "; ".join(wrong[:10])
    chosen = [record for record in report["records"] if record["chosen"]]
    if report["error"] or not chosen or params["check"]:
        if report["error"]:
            for record in chosen:
                record.update(state="skipped", reason="the host failed: " + report["error"][:200])
        return bool(chosen) and not report["error"], report
    targets = [record["target"] for record in chosen]
    status, out, err = flash(machine, targets, params["time_limit"], params["grace"], params["job_dir"])
    # Status 1 without a result: another run is at work, or start-up failed. No drive was touched.
    results = listing.parse_results(out)
    log = machine.text("/tmp/Vandrel.log", 1 << 26) if status != BUSY_STATUS else ""
    fresh, report["listing"], error = list_drives(machine, fresh=True)
    if error:
        report["error"] = error
    if status != 0:
        report["error"] = err.strip()[-500:] or ("the run did not end in time" if status is None else
                                                 "vandrel ended with status %d" % status)
    report.update(result_lines=out, log=log[-KEPT:], diagnostics=machine.text("/Data/Vandrel.stderr"))
    found = dict((drive["target"], drive) for drive in fresh)
    for number, record in enumerate(chosen, 1):
        if error:
            record.update(state="failed", after="", reason="the drives can't be listed after the run: " + error)
            continue
        judge(record, number, results.get(record["target"]), found, log, status is None)
    return not (status == BUSY_STATUS and not results), report
