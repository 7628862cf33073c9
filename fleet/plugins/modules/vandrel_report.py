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
import subprocess

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandrel.fleet.plugins.module_utils import report

OPTIONS = dict(
    path=dict(type="path", required=True),
    host=dict(type="str"),
    update=dict(type="dict"),
    survey=dict(type="dict"),
    title=dict(type="str", default="Drive firmware"),
    maplint=dict(type="str", default="vandrel-maplint"),
    root=dict(type="path"),
)


def keep(params):
    """What a host said, one file each: the batch may run on several hosts at once."""
    update, survey = params["update"], params["survey"]
    said = update or survey or {}
    records = said["records"] if "records" in said else report.survey_records(said.get("drives", []))
    if update and survey and "drives" in survey:
        report.verify(records, survey["drives"])
    error = said.get("error", "")
    if said.get("unreachable"):
        error = "unreachable: " + said.get("msg", "")
    elif "records" not in said and "drives" not in said:  # a module that broke off, or a job that was lost
        error = " ".join(str(said[name]) for name in ("msg", "module_stderr") if said.get(name)) or "nothing came back"
    for folder in ("hosts", "listings", "logs"):
        if not os.path.isdir("%s/%s" % (params["path"], folder)):
            os.makedirs("%s/%s" % (params["path"], folder))
    host = os.path.basename(params["host"])
    entry = dict(records=records, error=error, version=(survey or {}).get("version", ""),
                 checksums=said.get("checksums", {}))
    report.write("%s/hosts/%s.json" % (params["path"], host), json.dumps(entry, indent=1))
    listing = said.get("before") or said.get("listing")
    if listing:
        report.write("%s/listings/%s" % (params["path"], host), listing)
    if said.get("map"):
        report.write(params["path"] + "/Map.txt", said["map"])
    for name in ("result_lines", "log", "diagnostics", "listing"):
        if said.get(name):
            report.write("%s/logs/%s.%s" % (params["path"], host, name), said[name])
    bad = ["%s %s: %s" % (record["target"], record["state"], record["reason"])
           for record in records if record["state"] in report.BAD]
    waiting = any(record["state"] == "needs power cycle" for record in records)
    return dict(trouble="; ".join(([error] if error else []) + bad), power_cycle=waiting)


def lint(params):
    """What vandrel-maplint says of the map and all listings together."""
    map_file, folder = params["path"] + "/Map.txt", params["path"] + "/listings"
    if not os.path.isfile(map_file) or not os.path.isdir(folder):
        return ""
    fleet = params["path"] + "/fleet"
    with open(fleet, "wb") as target:
        for name in sorted(os.listdir(folder)):
            with open("%s/%s" % (folder, name), "rb") as source:
                target.write(source.read())
    images = ["-R", params["root"]] if params["root"] else ["-n"]
    try:
        process = subprocess.Popen([params["maplint"]] + images + [map_file, fleet], stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT)
    except OSError as error:
        return "%s: %s" % (params["maplint"], error.strerror)
    lines = process.communicate()[0].decode("utf-8", "replace").splitlines()
    # A line for every drive of the fleet is in the table already; what is left are findings and the summary.
    return "\n".join(line for line in lines if not line.endswith(": no line matches") and " brings " not in line)


def main():
    module = AnsibleModule(argument_spec=OPTIONS, supports_check_mode=True)
    if module.params["host"]:
        module.exit_json(changed=False, **keep(module.params))
    outcome = report.render(module.params["path"], module.params["title"], lint(module.params))
    module.exit_json(changed=False, counts=outcome["counts"])


if __name__ == "__main__":
    main()
