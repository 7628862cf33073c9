"""A maintenance system of its own: the package installed on a bare Debian, removed without a trace, installed again, and
a whole run typed at the serial line, up to the power-off that ends the machine."""

import gzip
import os
import pathlib

from machine import GIB, Devices

MAP = b"""^QEMU.HARDDISK$ ^2[.]5[+]$ 2.6+ fw/sata.lod
^ALPHA$ ^0001$ 0002 fw/alpha.lod
^BETA$ ^0001$ 0002 fw/beta.lod
"""
RISKS = "Yes, I understand the risks!"


def devices():
    found = Devices("ich9-ahci", "virtio-scsi-pci")
    found.sata(0, GIB)
    found.sas(0, "ALPHA", "A1")
    found.sas(1, "BETA", "B1")
    return found.arguments


def files():
    """What a maintenance system holds, and what makes this one start with a root shell on its serial line."""
    [package] = pathlib.Path(os.environ["VANDREL_PACKAGES"]).glob("*.deb")
    return {
        "init": b"#!/bin/sh\nmount -t devtmpfs none /dev\nexec /sbin/init\n",
        "etc/inittab": b"id:2:initdefault:\nsi::sysinit:/etc/init.d/rcS\nl0:0:wait:/etc/init.d/rc 0\n"
                       b"op:2:respawn:/sbin/agetty --autologin root --noclear ttyS0 115200 vt100\n",
        "etc/modules": b"ahci\nvirtio_pci\nvirtio_scsi\nsd_mod\nsg\n",
        "root/.bash_profile": b"PS1='ready: '\n",
        "vandrel.deb": package.read_bytes(),
        "vm/list": b"find / -xdev -regex '/\\(proc\\|sys\\|run\\|tmp\\|Data\\)' -prune -o -print | sort\n",
        "lib/kbd/keymaps/i386/qwerty/us.map.gz": gzip.compress(b"keycode 16 = q\n"),
        "VERSION": b"7\n",
        "Vandrel.help": b"Help for the operator\n",
        "Data/Map.txt": MAP,
        "Data/ULL": b". . - -\n",
        "Data/SMART187": b". . - -\n",
        **{f"Data/fw/{name}.lod": b"image\n" for name in ("sata", "alpha", "beta")},
    }


def session(keyboard):
    def shell(command, *answers):
        keyboard.wait_for("ready: $")
        keyboard.type(command + "\n")
        for answer in answers:
            keyboard.wait_for(answer)

    shell("/vm/list >/tmp/before; dpkg -i /vandrel.deb && vandrel --list",
          r'sd.,\d+,0,ATA,"QEMU HARDDISK",2.5\+,2.6\+,"sata.lod";', r'sd.,\d+,0,ACME,"ALPHA",0001,0002,"alpha.lod";')
    shell("vandrel-maplint /Data/Map.txt; echo maplint $?", "maplint 0")
    shell("dpkg -P vandrel && /vm/list | diff /tmp/before - && echo nothing' is left'", "nothing is left")
    shell("dpkg -i /vandrel.deb; /usr/sbin/fw_download --version", "Setting up", "vandrel-fw-download 1")
    shell("vandrel -A")
    keyboard.wait_for(r"\*\*\* Select keyboard mapping \(Vandrel V7\).*us .*for act")
    keyboard.type("\r")
    keyboard.wait_for("WARNING!.*to skip updating drive firmware")
    keyboard.type(RISKS + "\r")
    keyboard.wait_for(r"Firmware Update \(Vandrel V7\).*\+\| sd. .*\+\| sd. .*"
                      r"\+\| sd. \| \d+,1 \| ACME \| BETA \| 0001 \| beta.lod.*for act")
    keyboard.type("h")
    keyboard.wait_for("Help for the operator.*return to program")
    keyboard.type("q")
    keyboard.wait_for("for act")
    keyboard.type("jj-g")                       # the last one stays as it is
    keyboard.wait_for("update 2 devices.*No\": ")
    keyboard.type("Yes\r")
    keyboard.wait_for("drive 1 of 2 successful.*drive 2 of 2 successful.*Finished without errors.*No\": ")
    keyboard.type("Yes\r")
    keyboard.wait_for(r"Now executing: fw_download '-b.*flashing.*successful.*\(All\) .*to quit")
    keyboard.type("q")
    keyboard.wait_for(r"S.M.A.R.T. Check \(Vandrel V7\).* sd. .* sd. .* sd. .*for act")
    keyboard.type("lq")
    keyboard.wait_for(r"Summary Page.*Grease Wear Levelling \(3 drives\) \[ ?OK ?\].*Firmware \(2 drives\) \[ ?OK ?\].*"
                      r"check \(3 drives\) \[ ?OK ?\].*No\": ")
    keyboard.type("Yes\r")
