#!/usr/bin/python
"""One call for each host: list, choose, flash, list again."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: vandrel_update
short_description: Flash the drives of a host that need an image and are not in use
description:
  - Lists the drives, verifies checksums, flashes what needs an image and is not in use, and lists again.
  - Never fails by itself, so that the report is complete. Look at C(error) and at the states.
author: The Vandrel maintainers (@vandrel)
version_added: 1.0.0
extends_documentation_fragment: vandrel.fleet.machine
options:
  targets:
    description: Flash these only, as I(adapter),I(host),I(slot). Empty for all.
    type: list
    elements: str
    default: []
  allow_in_use:
    description: Directly attached drives, by target, that may be flashed although they are in use.
    type: list
    elements: str
    default: []
  drained:
    description: Nothing uses the drives behind controllers, which the kernel can't say.
    type: bool
    default: false
  checksums:
    description: A file of C(sha256sum) lines that the tree must match before anything is flashed.
    type: path
  time_limit:
    description: Seconds after which no other drive is begun.
    type: int
    default: 14400
  grace:
    description: Seconds to wait for the drive at work after that.
    type: int
    default: 900
  job_dir:
    description: Where the run's output is kept on the host.
    type: path
    default: /var/lib/vandrel-fleet
"""
EXAMPLES = r"""
- name: Flash what needs it
  vandrel.fleet.vandrel_update:
    root: /srv/firmware
"""
RETURN = r"""
records:
  description: A record for each drive with its state and the reason.
  returned: always
  type: list
  elements: dict
inventory:
  description: The first listing, as an inventory of the rehearsal, which knows the drives that are in use.
  returned: always
  type: str
version:
  description: The program's version.
  returned: always
  type: str
checksums:
  description: SHA-256 of map, images and lists by name.
  returned: always
  type: dict
map:
  description: The text of the firmware map.
  returned: always
  type: str
listing:
  description: The last listing.
  returned: always
  type: str
result_lines:
  description: The run's result lines.
  returned: always
  type: str
log:
  description: The end of the run's log.
  returned: always
  type: str
diagnostics:
  description: The end of the run's diagnostics.
  returned: always
  type: str
error:
  description: What went wrong for the host as a whole, else empty.
  returned: always
  type: str
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandrel.fleet.plugins.module_utils import job, machine


OPTIONS = dict(
    targets=dict(type="list", elements="str", default=[]),
    allow_in_use=dict(type="list", elements="str", default=[]),
    drained=dict(type="bool", default=False),
    checksums=dict(type="path"),
    time_limit=dict(type="int", default=14400),
    grace=dict(type="int", default=900),
    job_dir=dict(type="path", default="/var/lib/vandrel-fleet"),
)


def main():
    module = AnsibleModule(argument_spec=dict(machine.ARGUMENTS, **OPTIONS), supports_check_mode=True,
                           required_together=[("rehearsal_listing", "rehearsal_dir")])
    changed, report = job.update(machine.of(module), dict(module.params, check=module.check_mode))
    module.exit_json(changed=changed, **report)


if __name__ == "__main__":
    main()
