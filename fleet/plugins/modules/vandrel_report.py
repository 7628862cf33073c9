#!/usr/bin/python
"""Keeps what a host said, and makes the reports of all of them. Runs on the control node."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: vandrel_report
short_description: Keep a host's report, or render the reports of all hosts
description:
  - With I(host) keeps what a host said below I(path). Without, writes C(result.json), C(result.csv), C(report.html).
  - Never reported as a change, since no managed host is changed by it.
author: The Vandrel maintainers (@vandrel)
version_added: 1.0.0
options:
  path:
    description: The directory of the reports.
    type: path
    required: true
  host:
    description: The host's name.
    type: str
  update:
    description: What C(vandrel.fleet.vandrel_update) returned.
    type: dict
  survey:
    description: What C(vandrel.fleet.vandrel_survey) returned, after a power cycle when I(update) is given as well.
    type: dict
  error:
    description: What went wrong for the host beside that.
    type: str
    default: ""
  fleet:
    description: Hosts that the play is for. Of those that it has not come to the report says so.
    type: list
    elements: str
    default: []
  title:
    description: Heads the page.
    type: str
    default: Drive firmware
  maplint:
    description: The program that checks the map against the listings.
    type: str
    default: vandrel-maplint
  root:
    description: The tree on the control node whose images the map names.
    type: path
"""
EXAMPLES = r"""
- name: Render
  vandrel.fleet.vandrel_report:
    path: reports
  delegate_to: localhost
"""
RETURN = r"""
trouble:
  description: Why the host counts as failed, else empty.
  returned: with I(host)
  type: str
power_cycle:
  description: Whether drives of the host wait for a power cycle.
  returned: with I(host)
  type: bool
counts:
  description: Drives by state.
  returned: without I(host)
  type: dict
"""

import json
import os

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandrel.fleet.plugins.module_utils import job, report

OPTIONS = dict(
    path=dict(type="path", required=True),
    host=dict(type="str"),
    update=dict(type="dict"),
    survey=dict(type="dict"),
    error=dict(type="str", default=""),
    fleet=dict(type="list", elements="str", default=[]),
    title=dict(type="str", default="Drive firmware"),
    maplint=dict(type="str", default="vandrel-maplint"),
    root=dict(type="path"),
)


def trouble_of(said):
    """Why the answer of a module is of no use, or what it calls its host's error, or nothing."""
    if said.get("unreachable"):
        return "unreachable: " + str(said.get("msg", ""))
    if "records" in said or "drives" in said:
        return said["error"]
    # A module that broke off, or a job that was lost.
    return " ".join(str(said[name]) for name in ("msg", "module_stderr") if said.get(name)) or "nothing came back"


def judge(params):
    """(records of the drives, what went wrong for the host as a whole)."""
    update, survey = params["update"], params["survey"]
    if not update:
        return report.survey_records((survey or {}).get("drives", [])), trouble_of(survey or {})
    records, errors = update.get("records", []), [trouble_of(update)]
    if survey and "drives" in survey and not survey["error"]:
        report.verify(records, survey["drives"])
    elif survey:
        errors.append("after the power cycle: " + trouble_of(survey))
    return records, "; ".join(error for error in errors + [params["error"]] if error)


def keep(params):
    """What a host said, one file each: the batch may run on several hosts at once."""
    records, error = judge(params)
    said = params["update"] or params["survey"] or {}
    said = dict(said, listing=(params["survey"] or {}).get("listing") or said.get("listing"))
    for folder in ("hosts", "listings", "logs"):
        os.makedirs("%s/%s" % (params["path"], folder), exist_ok=True)
    entry = dict(host=params["host"], records=records, error=error, version=said.get("version", ""),
                 checksums=said.get("checksums", {}))
    name = params["host"].replace("/", "%2F")
    report.write("%s/hosts/%s.json" % (params["path"], name), json.dumps(entry, indent=1))
    if said.get("inventory"):
        report.write("%s/listings/%s" % (params["path"], name), said["inventory"])
    if said.get("map"):
        report.write(params["path"] + "/Map.txt", said["map"])
    for kind in ("result_lines", "log", "diagnostics", "listing"):
        if said.get(kind):
            report.write("%s/logs/%s.%s" % (params["path"], name, kind), said[kind])
    bad = ["%s %s: %s" % (record["target"], record["state"], record["reason"])
           for record in records if record["state"] in report.BAD]
    waiting = any(record["state"] == "needs power cycle" for record in records) and not any(
        record["reason"].endswith(job.STILL_WRITING) for record in records)
    return dict(trouble="; ".join(([error] if error else []) + bad), power_cycle=waiting)


def lint(module, params):
    """What vandrel-maplint says of the map and all listings together."""
    map_file, folder = params["path"] + "/Map.txt", params["path"] + "/listings"
    if not os.path.isfile(map_file) or not os.path.isdir(folder):
        return ""
    fleet = params["path"] + "/fleet"
    with open(fleet, "wb") as target:
        for name in sorted(os.listdir(folder)):
            with open("%s/%s" % (folder, name), "rb") as source:
                target.write(source.read() + b"\n")
    images = ["-R", params["root"]] if params["root"] else ["-n"]
    try:
        said = module.run_command([params["maplint"]] + images + [map_file, fleet], handle_exceptions=False)
    except OSError as error:
        return "%s: %s" % (params["maplint"], error.strerror)
    # A line for every drive of the fleet is in the table already; what is left are findings and the summary.
    return "\n".join(line for line in (said[1] + said[2]).splitlines()
                     if not line.endswith(": no line matches") and " brings " not in line)


def main():
    module = AnsibleModule(argument_spec=OPTIONS, supports_check_mode=True)
    if module.params["host"]:
        module.exit_json(changed=False, **keep(module.params))
    outcome = report.render(module.params["path"], module.params["title"], lint(module, module.params),
                            module.params["fleet"])
    module.exit_json(changed=False, counts=outcome["counts"])


if __name__ == "__main__":
    main()
