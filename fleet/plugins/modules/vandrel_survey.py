#!/usr/bin/python
"""One call for each host: everything that a survey asks."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: vandrel_survey
short_description: List a host's drives and who uses them
description:
  - Runs C(vandrel --list) and asks the kernel which drives are in use. Changes nothing.
author: The Vandrel maintainers (@vandrel)
version_added: 1.0.0
extends_documentation_fragment: vandrel.fleet.machine
"""
EXAMPLES = r"""
- name: List the drives
  vandrel.fleet.vandrel_survey:
    root: /srv/firmware
"""
RETURN = r"""
listing:
  description: What the program printed.
  returned: always
  type: str
inventory:
  description: The same as an inventory of the rehearsal, which knows the drives that are in use.
  returned: always
  type: str
drives:
  description: The drives, with C(use), the reasons for which each is in use.
  returned: always
  type: list
  elements: dict
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
error:
  description: Why the drives could not be listed, else empty.
  returned: always
  type: str
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.vandrel.fleet.plugins.module_utils import machine


def main():
    module = AnsibleModule(argument_spec=machine.ARGUMENTS, supports_check_mode=True,
                           required_together=[("rehearsal_listing", "rehearsal_dir")])
    module.exit_json(changed=False, **machine.survey(machine.of(module)))


if __name__ == "__main__":
    main()
