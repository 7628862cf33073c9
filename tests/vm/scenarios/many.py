"""48, 64 and 96 drives: all are listed, in order, with no command too many; how long it takes beside other clients."""

from reference import commands, lsscsi

COMMANDS_PER_DRIVE = 4          # IDENTIFY, the serial number page twice, READ CAPACITY(16)


def devices():
    return []


def verify(check):
    for count in (48, 64, 96):
        drives = lsscsi(check.ran(f"lsscsi.{count}").out)
        check.same("drives in the machine", count, len(drives))
        expected = [f'{drive.block},{drive.host},{drive.target},{drive.vendor},"{drive.model}",{drive.revision},-,-;'
                    for drive in drives]
        check.same(f"--list of {count} drives", expected, check.ran(f"list.{count}").out.splitlines())
        sent = commands(check.ran(f"list.{count}.trace").out)
        check.same("commands sent", sorted(f"{drive.address}: {COMMANDS_PER_DRIVE}" for drive in drives),
                   sorted(f"{address}: {len(blocks)}" for address, blocks in sent.items()))

    figures = []
    for count in (48, 96):
        ours, lsscsi_ms, clients_ms = (int(check.ran(f"time.{who}.{count}").out) / 1000
                                       for who in ("list", "lsscsi", "clients"))
        figures.append(f"{count} drives: vandrel --list {ours:.0f} ms; lsscsi -g {lsscsi_ms:.0f} ms, ratio "
                       f"{ours / lsscsi_ms:.2f}; per drive clients {clients_ms:.0f} ms, ratio {ours / clients_ms:.3f}")
        # The figures are for reading; only what could not be a matter of noise fails.
        check.same(f"listing {count} drives is no slower than the clients drive by drive", True, ours < clients_ms)
    (check.work / "figures.txt").write_text("\n".join(figures) + "\n")
    print(*figures, sep="\n")
