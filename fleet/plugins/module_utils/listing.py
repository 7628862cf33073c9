"""The lines of `vandrel --list` and of an unattended run, and what the firmware map says of a drive.

A drive's texts are data: whatever a drive calls itself, quotes, commas and control characters included, comes out of
here as the value of a field and nothing else.
"""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import re

# The model may hold quotes and commas, so it ends at the last quote that lets the rest of the line be read.
DRIVE = re.compile(r'(sd[A-Za-z]+|\d+),(\d+),(\d+),(.*?),"(.*)",([^"]*),([^",]*),("[^"]*"|[^",;]*);(?:\s.*)?', re.DOTALL)
RESULT = re.compile(r'(sd[A-Za-z]+|\d+),(\d+),(\d+),(SUCCESS|FAILED),')
TARGET = re.compile(r'(?:sd[A-Za-z]{1,2}|\d+),\d+,\d+')
FIELDS = ("adapter", "host", "slot", "vendor", "model", "revision", "new_revision", "image")
CLASSES = {"alnum": "A-Za-z0-9", "alpha": "A-Za-z", "digit": "0-9", "space": r"\s", "upper": "A-Z", "lower": "a-z"}


def parse_drive(line):
    """One line as a dict of FIELDS, with `target` as --targets takes it; None for a line that is not a drive's."""
    match = DRIVE.fullmatch(line)
    if not match:
        return None
    drive = dict(zip(FIELDS, match.groups()))
    drive["target"] = ",".join(match.groups()[:3])
    drive["image"] = drive["image"].strip('"')
    for name in ("new_revision", "image"):
        drive[name] = "" if drive[name] == "-" else drive[name]
    return drive


def parse_listing(text):
    """(drives, lines that are not a drive's). Empty lines and comments, which an inventory may have, are neither."""
    drives, rejected = [], []
    for line in text.split("\n"):
        if line.strip() and not line.startswith("#"):
            drive = parse_drive(line)
            (drives if drive else rejected).append(drive or line)
    return drives, rejected


def parse_results(text):
    """{target: "SUCCESS" or "FAILED"} of an unattended run's standard output."""
    found = (RESULT.match(line) for line in text.split("\n"))
    return dict((",".join(match.groups()[:3]), match.group(4)) for match in found if match)


def is_controller(drive):
    return drive["adapter"].isdigit()


def find(drives, record):
    """The record's drive in a later listing, or None. One that left the machine and came back may have another name, and
    names may have moved with a new start."""
    same = [drive for drive in drives if record["id"] and drive["id"] == record["id"]]
    if same:
        return ([drive for drive in same if drive["target"] == record["target"]] or same)[0]
    here = [drive for drive in drives if drive["target"] == record["target"]] or [
        drive for drive in drives if drive["target"].split(",")[1:] == record["target"].split(",")[1:]
        and not is_controller(drive) and record["target"].startswith("sd")]
    found = here[0] if len(here) == 1 and here[0]["model"] == record["model"] else None
    return None if found and record["id"] and found["id"] else found


def look_again(records, drives, when):
    """What a later listing says of drives to which nothing was done."""
    for record in records:
        drive = find(drives, record)
        record["after"] = drive["revision"] if drive else ""
        if drive is None:
            record.update(state="gone", reason="is no longer listed " + when)


def rules(map_text):
    for line in map_text.split("\n"):
        fields = None if line.lstrip().startswith("#") else map_fields(line)
        if fields:
            yield fields


def map_fields(line):
    """The four fields of a map line, whose closing quote opens the next field; None for what is no rule."""
    fields, at = [], 0
    while len(fields) < 4:
        while at < len(line) and line[at] in " \t":
            at += 1
        if at == len(line):
            return None
        if line[at] in "\"'":
            end = line.find(line[at], at + 1)
            end = len(line) if end < 0 else end
            fields.append(line[at + 1:end])
        else:
            end = at
            while end < len(line) and line[end] not in " \t":
                end += 1
            fields.append(line[at:end])
        at = end
    return fields


def is_current(drive, map_text):
    """Whether a rule for this model has the drive's revision as its new one. A label for the report: what is flashed
    is decided by vandrel alone."""
    for fields in rules(map_text):
        if fields[2] != drive["revision"]:
            continue
        pattern = re.sub(r"\[:(\w+):\]", lambda match: CLASSES.get(match.group(1), ""), fields[0])
        try:
            if re.search(pattern, drive["model"]):
                return True
        except re.error:
            continue
    return False
