"""A job that flashes: which drives, one job at a time, and what became of each."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import fcntl
import os
import re
import signal
import subprocess
import time

from ansible_collections.vandrel.fleet.plugins.module_utils import checksums, kernel, listing
from ansible_collections.vandrel.fleet.plugins.module_utils.machine import KEPT, LOG, list_drives, survey

STILL_WRITING = "its tool may still be writing"


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
        known = report["checksums"] or checksums.tree_sums(tree)
        wrong = checksums.verify_sums(tree, sums, known, report["map"]) if sums.strip() else [
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
