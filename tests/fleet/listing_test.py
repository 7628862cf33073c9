"""What is worked out from texts: the listing and the map, who uses a disk, a run's log, cells of a table."""
import pathlib
import sys
import tempfile
import types
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2] / "fleet"
for name, path in (("ansible_collections", ""), ("ansible_collections.vandrel", ""),
                   ("ansible_collections.vandrel.fleet", SOURCE),
                   ("ansible_collections.vandrel.fleet.plugins", SOURCE / "plugins"),
                   ("ansible_collections.vandrel.fleet.plugins.module_utils", SOURCE / "plugins/module_utils")):
    module = sys.modules.setdefault(name, types.ModuleType(name))
    module.__path__ = [str(path)] if path else []
from ansible_collections.vandrel.fleet.plugins.module_utils import checksums, job, kernel, listing, machine, report  # noqa: E402

PARAMS = {"targets": [], "allow_in_use": [], "drained": False}


class Listing(unittest.TestCase):
    def test_odd_texts(self):
        for line, model, revision, image in (
                ('sda,0,0,ATA,"ST4000",SN04,SN06,"x.lod";', "ST4000", "SN04", "x.lod"),
                ('sdX,0,0,A,"a","b",c",0001,-,-;', 'a","b",c', "0001", ""),
                ('0,8,11,A,B,"<i>;$(x)",A,B,C,"a b,c.bin"; in-use', "<i>;$(x)", "A,B", "a b,c.bin"),
                ('sda,0,0,,"",,-,-;', "", "", "")):
            drive = listing.parse_drive(line)
            self.assertEqual((drive["model"], drive["revision"], drive["image"]), (model, revision, image), line)
        for line in ("", "sda,0,0", 'sda,0,x,ATA,"M",1,-,-;', 'sda,0,0,ATA,"M",1,-,-', 'Error sda,0,0,ATA,"M",1,-,-;'):
            self.assertIsNone(listing.parse_drive(line), line)

    def test_current(self):
        rules = '# "M" x NEW i\n"^WDC W$"^O"NEW"i"\n^ST[[:digit:]]+$ O N2 i\n( O NEW i\n'
        for model, revision, current in (("WDC W", "NEW", True), ("WDC W", "O", False), ("ST40", "N2", True),
                                         ("STx", "N2", False), ("other", "NEW", False)):
            self.assertEqual(listing.is_current({"model": model, "revision": revision}, rules), current, model)

    def test_choice(self):
        def chosen(line, use=(), **params):
            return not job.skip_reason(dict(listing.parse_drive(line), use=list(use)), dict(PARAMS, **params))
        disk, behind = 'sda,0,0,ATA,"M",1,2,"i";', '0,8,0,ATA,"M",1,2,"i";'
        self.assertTrue(chosen(disk))
        self.assertFalse(chosen(disk, ["swap"]))
        self.assertTrue(chosen(disk, ["swap"], allow_in_use=["sda,0,0"]))
        self.assertFalse(chosen(disk, ["swap"], allow_in_use=["sda,0,1"], drained=True))
        self.assertFalse(chosen(behind, allow_in_use=["0,8,0"]))
        self.assertTrue(chosen(behind, drained=True))
        self.assertFalse(chosen(disk, targets=["sdb,0,1"]))

    def test_log_tells_what_became_of_each(self):
        records = [{"id": "", "chosen": True, "target": f"sd{name},0,{slot}", "model": "M", "wanted": "2"} for slot, name in enumerate("abcdef")]
        drives = [dict(id="", **listing.parse_drive(f'sd{name},0,{slot},A,"{model}",{revision},-,-;')) for name, slot, model, revision in (
            ("a", 0, "M", 2), ("z", 1, "M", 2), ("c", 2, "N", 2), ("d", 3, "M", 1), ("e", 4, "M", 1), ("f", 5, "M", 1))]
        log = "Now executing: x\n" * 3 + 'No command\nNow executing: e\nold\nCommand "x" failed\nwhy\nold\nwhy\n'
        job.judge_all(records, drives, log, {}, True)
        self.assertEqual([record["state"] for record in records], ["updated"] * 2 + ["gone"] + ["failed"] * 3)
        self.assertRegex(records[3]["reason"], "no flashing tool")
        self.assertRegex(records[4]["reason"], "still be writing")
        self.assertRegex(records[5]["reason"], "not attempted")
        self.assertEqual(job.last_words(job.told_by_log(log)[4]), "old | why")

    def test_names_move(self):
        drives = [dict(listing.parse_drive(f'sd{name},0,{slot},A,"M",{slot},-,-;'), id=wwid)
                  for name, slot, wwid in (("a", 0, "2"), ("b", 1, "1"), ("c", 2, ""), ("d", 3, "4"), ("e", 4, "4"))]
        for name, slot, wwid, found in (("a", 0, "1", "sdb"), ("b", 1, "2", "sda"), ("c", 2, "3", "sdc"),
                                        ("d", 3, "5", None), ("x", 1, "", "sdb"), ("e", 4, "4", "sde")):
            record = {"target": f"sd{name},0,{slot}", "id": wwid, "model": "M"}
            self.assertEqual((listing.find(drives, record) or {}).get("adapter"), found, record)

    def test_what_keeps_a_host_from_flashing(self):
        disks = [dict(listing.parse_drive(f'sd{name},0,{slot},A,"M",1,2,i;'), id=wwid, use=list(use))
                 for name, slot, wwid, use in (("a", 0, "x", []), ("b", 1, "x", ["swap"]), ("c", 2, "y", []), ("d", 2, "z", []))]
        machine.share_uses(disks)
        self.assertEqual([disk["use"] for disk in disks], [
            ["swap of sdb"], ["swap", "the same drive as sda"], [], []])
        for rules, reached in (("# ^M$ . - -\n", []), ("^M$ . - -\n", ["sda,0,0", "sdb,0,1"])):
            host = types.SimpleNamespace(text=lambda *unused, text=rules: text)
            self.assertEqual(job.moves_heads_in_use(host, disks, PARAMS), reached)
        with tempfile.TemporaryDirectory() as folder:
            tree = pathlib.Path(folder, "tree")
            for name in ("tree/Data/Map.txt", "tree/Data/i", "tree/sbin/fw_download", "evil"):
                path = pathlib.Path(folder, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text("x")
            sums = "".join(f"{checksums.file_sum(path)}  {path.relative_to(tree)}\n" for path in tree.rglob("Data/*"))
            wrong = checksums.verify_sums(str(tree), sums, checksums.tree_sums(str(tree)), "^M$ . 2 ../../evil\n^M$ . 2 i\n")
            self.assertEqual(wrong, ["Data/../../evil: has no checksum", "sbin/fw_download: has no checksum"])

    def test_use(self):
        files = {f"sys/block/sd{name}/dev": f"8:{number}" for number, name in enumerate("abcdefg")} | {
            "sys/block/sda/sda1/dev": "8:21", "sys/block/sdb/sdb12/dev": "8:22", "sys/block/sdc/sdc1/dev": "8:23",
            "sys/block/sdd/holders/dm-0/dm/uuid": "LVM-x\n", "sys/block/sdd/holders/dm-0/dm/name": "vg-root\n",
            "sys/block/sde/sde1/dev": "8:24", "sys/block/sde/sde1/holders/md7/md/level": "raid1",
            "sys/block/sdf/holders/dm-1/dm/name": "plain", "dev/sdg": "",
            "proc/self/mountinfo": "1 2 8:21 / /srv\\040x rw - ext4 /dev/root rw\n"
                                   "1 2 0:40 / /b rw shared:1 - btrfs /dev/sdb12 rw\n",
            "proc/swaps": "Filename Type Size\n/dev/sdc1 partition 1 0 -2\n"}
        with tempfile.TemporaryDirectory() as root:
            for name, text in files.items():
                path = pathlib.Path(root, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(text)
            for disk, use in (("sda", "mounted on /srv x"), ("sdb", "mounted on /b"), ("sdc", "swap on /dev/sdc1"),
                              ("sdd", "held by vg-root (LVM)"), ("sde", "held by md7 (md)"), ("sdf", "held by plain (dm)"),
                              ("sdg", ""), ("sdh", "its block device is unknown")):
                self.assertEqual("; ".join(kernel.disk_use(root, disk)), use, disk)

    def test_cells_are_no_formulas(self):
        for text, cell in (("=1", "'=1"), ("\t@x", "' @x"), ("a\r\n=b", "a  =b"), ("M-1", "M-1")):
            self.assertEqual(report.csv_cell(text), cell)


if __name__ == "__main__":
    unittest.main()
