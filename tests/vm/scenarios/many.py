"""16, 64 and 96 drives: all are listed, in order, with no command too many; how long it takes beside other clients."""

from reference import commands, lsscsi, time_in_commands

COMMANDS_PER_DRIVE = 4          # IDENTIFY, the serial number page twice, READ CAPACITY(16)
CLIENTS = {"lsscsi": "lsscsi -g", "sg_inq": "sg_inq, each"}


def devices():
    return []


def verify(check):
    for count in (16, 64, 96):
        drives = lsscsi(check.ran(f"lsscsi.{count}").out)
        check.same("drives in the machine", count, len(drives))
        expected = [f'{drive.block},{drive.host},{drive.target},{drive.vendor},"{drive.model}",{drive.revision},-,-;'
                    for drive in drives]
        check.same(f"--list of {count} drives", expected, check.ran(f"list.{count}").out.splitlines())
        sent = commands(check.ran(f"list.{count}.trace").out)
        check.same("commands sent", sorted(f"{drive.address}: {COMMANDS_PER_DRIVE}" for drive in drives),
                   sorted(f"{address}: {len(blocks)}" for address, blocks in sent.items()))

    def time_ms(who, count):
        return int(check.ran(f"time.{who}.{count}").out) / 1000

    figures = []
    for count in (1, 16, 96):
        ours = time_ms("list", count)
        others = {who: time_ms(who, count) for who in CLIENTS}
        figures.append(f"{count} drives: vandrel --list {ours:.0f} ms; " + "; ".join(
            f"{CLIENTS[who]} {time:.0f} ms (ratio {ours / time:.2f})" for who, time in others.items()))
        # The figures are for reading; only what could not be a matter of noise fails.
        check.same(f"listing {count} drives is no slower than sg_inq on each", True, ours < others["sg_inq"] + 100)
    total, drives = time_ms("slow", 96), 1000 * time_in_commands(check.ran("slow.trace").out)
    print(*figures, f"96 drives of 1 ms a command: {total:.0f} ms, of it {drives:.0f} ms in commands", sep="\n")
