"""The reports on the control node: result.json, result.csv and one self-contained page."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import collections
import csv
import io
import json
import os
import re
import tempfile
import time

from html import escape

from ansible_collections.vandrel.fleet.plugins.module_utils import listing

# Trouble first: the order of the report.
STATES = ("failed", "gone", "unreachable", "needs power cycle", "skipped", "planned", "no image", "updated", "current")
BAD = ("failed", "gone")
TROUBLE = BAD + ("needs power cycle",)
COLUMNS = ("host", "target", "state", "reason", "vendor", "model", "before", "wanted", "after", "image")
STYLE = """body{font:14px/1.4 system-ui,sans-serif;margin:2em;color:#222}h1{margin-bottom:0}h2{margin:1.5em 0 .3em}
table{border-collapse:collapse}td,th{border:1px solid #ccc;padding:.25em .6em;text-align:left;vertical-align:top}
td{white-space:nowrap}td.long{white-space:normal;min-width:14em}td.number{text-align:right}th,td[rowspan]{background:#eee}
.failed,.gone{background:#fbd5d5}.needs-power-cycle{background:#fdebc8}.skipped,.planned{background:#fff8d8}
.updated{background:#d9f2dc}summary{font-size:1.3em;cursor:pointer;margin:1em 0}
pre{background:#f6f6f6;padding:1em;overflow:auto}"""


def survey_records(drives):
    """What a survey says of drives: who would be flashed is planned, without a look at what a roll-out may do."""
    records = []
    for drive in drives:
        record = dict((name, drive[name]) for name in ("target", "vendor", "model", "image"))
        state = drive["label"] if not drive["image"] else "skipped" if drive["use"] else "planned"
        record.update(before=drive["revision"], wanted=drive["new_revision"], after=drive["revision"], state=state,
                      chosen=state == "planned", reason="; ".join(drive["use"]))
        records.append(record)
    return records


def verify(records, drives):
    """After a power cycle: what waited for it is updated now, or failed."""
    waiting = [record for record in records if record["state"] in ("needs power cycle", "gone")]
    listing.look_again(records, drives, "after the power cycle")
    for record in waiting:
        if record["after"] == record["wanted"]:
            record.update(state="updated", reason="after a power cycle")
        elif record["after"]:
            record.update(state="failed", reason="runs %s after a power cycle, too" % record["after"])


def tree_findings(hosts):
    """Lines about files of the maintenance tree that are not on a host as they are on most."""
    trees = dict((name, hosts[name]["checksums"]) for name in sorted(hosts) if hosts[name].get("checksums"))
    findings = []
    for path in sorted(set(path for tree in trees.values() for path in tree)):
        counts = collections.Counter(tree.get(path, "") for tree in trees.values())
        usual = max(sorted(counts), key=counts.get)
        for name in trees:
            digest = trees[name].get(path, "")
            if digest != usual:
                what = "is missing" if not digest else "differs from that of most hosts" if usual else "most hosts lack it"
                findings.append("%s: %s: %s" % (name, path, what))
    return findings


def result(hosts, lint):
    """The content of result.json. `hosts` maps names to what was kept of each."""
    rows, entries = [], []
    lint = "\n".join(tree_findings(hosts) + [lint]).strip()
    for name in sorted(hosts):
        host = hosts[name]
        states = [record["state"] for record in host["records"]]
        bad = bool(host["error"]) or any(state in BAD for state in states)
        entries.append(dict(host=name, reached=host["reached"], failed=bad, error=host["error"], version=host["version"],
                            drives=len(states)))
        rows.extend(dict((column, name if column == "host" else record[column]) for column in COLUMNS)
                    for record in host["records"])
    entries.sort(key=lambda entry: (not entry["failed"], entry["host"]))
    rows.sort(key=lambda row: STATES.index(row["state"]))
    counts = dict((state, sum(row["state"] == state for row in rows)) for state in STATES)
    counts["unreachable"] = sum(entry["error"].startswith("unreachable") for entry in entries)
    return dict(format=1, counts=counts, hosts=entries, drives=rows, lint=lint)


def csv_cell(text):
    """One line, and no formula to a spreadsheet: result.json has the very texts."""
    line = re.sub(r"[\x00-\x1f\x7f]", " ", text)
    return "'" + line if line.lstrip()[:1] in tuple("=+-@") else line


def as_csv(outcome):
    text = io.StringIO()
    writer = csv.writer(text, lineterminator="\n")
    writer.writerow(COLUMNS)
    for row in outcome["drives"]:
        writer.writerow([csv_cell(row[name]) for name in COLUMNS])
    return text.getvalue()


def cell(value, rows=0):
    kind = " class=number" if isinstance(value, int) else " class=long" if len(value) > 40 else ""
    return "<td%s%s>%s</td>" % (kind, " rowspan=%d" % rows if rows else "", escape(str(value)))


def table(heads, rows):
    """Rows are pairs of a class, which is a state or empty, and the cells."""
    if not rows:
        return "<p>none</p>"
    lines = ["<table><tr>" + "".join("<th>%s</th>" % escape(head) for head in heads) + "</tr>"]
    lines += ['<tr class="%s">%s</tr>' % (kind.replace(" ", "-"), "".join(cells)) for kind, cells in rows]
    return "\n".join(lines) + "</table>"


def matrix(drives):
    """Models by revisions: how many drives run each before and after."""
    models = {}
    for row in drives:
        for column, revision in ((0, row["before"]), (1, row["after"])):
            known = models.setdefault(row["model"], {})
            known.setdefault((not revision, revision), [0, 0])[column] += 1  # those that are gone stand last
    rows = []
    for model in sorted(models):
        for number, ((is_gone, revision), counts) in enumerate(sorted(models[model].items())):
            first = [cell(model, len(models[model]))] if not number else []
            kind = "gone" if is_gone else "updated" if counts[1] > counts[0] else ""
            rows.append((kind, first + [cell(revision or "(gone)"), cell(counts[0]), cell(counts[1])]))
    return table(("Model", "Revision", "Before", "After"), rows)


def host_table(hosts, drives):
    states = {}
    for row in drives:
        states.setdefault(row["host"], collections.Counter())[row["state"]] += 1
    rows = []
    for host in hosts:
        counts = states.get(host["host"], {})
        said = ", ".join("%d %s" % (counts[state], state) for state in STATES if state in counts)
        kind = "failed" if host["failed"] else "" if host["reached"] else "planned"
        version = host["version"].split("\n")[0]
        rows.append((kind, [cell(host["host"]), cell(said if host["reached"] else "not reached yet"),
                            cell(host["error"]), cell(version)]))
    return table(("Host", "Drives", "Error", "Version"), rows)


def drive_table(drives):
    rows = [(row["state"], [cell(row[column]) for column in COLUMNS]) for row in drives]
    return table([column.capitalize() for column in COLUMNS], rows)


def as_html(outcome, title):
    counts = [(state, outcome["counts"][state]) for state in STATES if outcome["counts"][state]]
    hosts, drives = outcome["hosts"], outcome["drives"]
    trouble = sum(row["state"] in TROUBLE for row in drives)  # they stand first
    failed = [host for host in hosts if host["failed"]]
    waiting = sum(not host["reached"] for host in hosts)
    parts = ["<!DOCTYPE html><html lang=en><meta charset=utf-8><title>%s</title><style>%s</style>" % (title, STYLE),
             "<h1>%s</h1><p>%d hosts, %d failed, %d not reached yet; %d drives; %s</p>" % (
                 title, len(hosts), len(failed), waiting, len(drives), time.strftime("%Y-%m-%d %H:%M %Z")),
             table(("State", "Drives"), [(state, [cell(state), cell(count)]) for state, count in counts
                                         if state != "unreachable"]),
             "<h2>Hosts that failed</h2>", host_table(failed, drives),
             "<h2>Drives in trouble</h2>", drive_table(drives[:trouble]),
             "<h2>Models and revisions</h2>", matrix(drives),
             "<h2>Map and trees</h2><pre>%s</pre>" % escape(outcome["lint"] or "not checked")]
    # What is well is there for who looks for it: five hundred hosts must not hide the one that failed.
    for heading, content in (("All hosts", host_table(hosts, drives)), ("All drives", drive_table(drives))):
        parts.append("<details><summary>%s</summary>%s</details>" % (heading, content))
    return "\n".join(parts) + "</html>\n"


def write(path, text):
    """Whole or not at all. Several hosts of a batch may write the same file."""
    with tempfile.NamedTemporaryFile(dir=os.path.dirname(path), prefix=".", delete=False) as file:
        file.write(text.encode("utf-8", "backslashreplace"))
    os.chmod(file.name, 0o644)
    os.rename(file.name, path)


def render(folder, title, lint, fleet):
    """Writes the reports of all hosts that are kept in the folder; returns the outcome. Those of `fleet` that are not
    kept were not reached yet."""
    hosts = dict((name, dict(reached=False, records=[], error="", version="")) for name in fleet)
    for name in os.listdir(folder + "/hosts"):
        if name.endswith(".json"):
            with open("%s/hosts/%s" % (folder, name), "rb") as file:
                host = json.loads(file.read().decode("utf-8"))
                hosts[host["host"]] = dict(host, reached=True)
    outcome = result(hosts, lint)
    write(folder + "/result.json", json.dumps(outcome, indent=1, sort_keys=True) + "\n")
    write(folder + "/result.csv", as_csv(outcome))
    write(folder + "/report.html", as_html(outcome, escape(title)))
    return outcome
