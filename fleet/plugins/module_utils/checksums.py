"""The files of a maintenance tree, by their checksums."""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

import hashlib
import os

from ansible_collections.vandrel.fleet.plugins.module_utils import listing

SEARCHED = ("sbin", "bin", "lib", "lib64", "usr", "root/bin")
WRITTEN_BY_RUNS = ("Vandrel.log", "Vandrel.log~", "Vandrel.stderr")


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
