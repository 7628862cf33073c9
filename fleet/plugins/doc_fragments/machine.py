"""The options that make a module's host a machine, real or rehearsed."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  program:
    description: The program to run.
    type: str
    default: vandrel
  root:
    description: The maintenance tree.
    type: path
    default: /
  rehearse:
    description: The program that rehearses.
    type: str
    default: vandrel-rehearse
  rehearsal_listing:
    description: Work on simulated drives that this listing describes, and on no real one.
    type: path
  rehearsal_dir:
    description: Where the simulated machine is kept.
    type: path
  rehearsal_words:
    description: Words of the rehearsal for drives, by their target.
    type: dict
    default: {}
  rehearsal_power_cycle:
    description: The simulated drives have been without power since the last call.
    type: bool
    default: false
"""
