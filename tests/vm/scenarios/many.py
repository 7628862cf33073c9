"""48, 64 and 96 drives: all are listed, in order, with no command too many; how long it takes beside other clients."""

from reference import commands, lsscsi

SECONDS = 180
COMMANDS_PER_DRIVE = 4          # IDENTIFY, the serial number page twice, READ CAPACITY(16)


def devices():
    return []


def check(check):
    for count in (48, 64, 96):
        drives = lsscsi(check.ran(f"lsscsi.{count}").out)
        check.same("drives in the machine", count, len(drives))
        expected = [f'{drive.block},{drive.host},{drive.target},{drive.vendor},"{drive.model}",{drive.revision},-,-;'
                    for drive in drives]
        check.same(f"--list of {count} drives", expected, check.ran(f"list.{count}").out.splitlines())
        sent = commands(check.ran(f"list.{count}.trace").out)
        check.same("commands sent", sorted(f"{drive.address}: {COMMANDS_PER_DRIVE}" for drive in drives),
                   sorted(f"{address}: {len(blocks)}" for address, blocks in sent.items()))

    times = {(who, count): int(check.ran(f"time.{who}.{count}").out) / 1000
             for who in ("list", "lsscsi", "clients") for count in (48, 96)}
    figures = "drives  vandrel --list     lsscsi -g  ratio  sg_inq + sg_readcap  ratio\n"
    for count in (48, 96):
        ours, lsscsi_ms, clients_ms = (times[who, count] for who in ("list", "lsscsi", "clients"))
        figures += (f"{count:6}  {ours:11.1f} ms  {lsscsi_ms:9.1f} ms  {ours / lsscsi_ms:5.2f}"
                    f"  {clients_ms:16.1f} ms  {ours / clients_ms:5.2f}\n")
    figures += f"96 drives take {times['list', 96] / times['list', 48]:.2f} times as long as 48\n"
    (check.work / "figures.txt").write_text(figures)
    print(figures, end="")
    # The figures are for reading; only what could not be a matter of noise fails.
    check.same("listing is no slower than the clients drive by drive", True, times["list", 96] < times["clients", 96])
    check.same("time grows no worse than linearly", True, times["list", 96] < 4 * times["list", 48])
