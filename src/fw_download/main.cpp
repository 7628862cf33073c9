/* Writes one firmware image into one directly attached drive. */
#include "fw_download/after.h"
#include "fw_download/claim.h"
#include "fw_download/disk.h"
#include "fw_download/examine.h"
#include "fw_download/image.h"
#include "fw_download/options.h"
#include "fw_download/send.h"
#include "fw_download/transport.h"

#include <cerrno>
#include <csignal>
#include <cstring>

using namespace fw_download;

constexpr int64_t all_ms = int64_t{10} * 60 * 1000; /* from the first segment until the drive is back */

/* The only disk at the address that has a node, or nothing after a message. */
static std::optional<disk> choose_disk(const console &con, const options &o)
{
    const std::vector<disk> disks = find_disks(o.host, o.target);
    if (disks.size() != 1)
        complain(con,
                 disks.empty() ? "no disk at host %u, target %u" : "more than one disk at host %u, target %u",
                 o.host, o.target);
    else if (disks.front().node.empty())
        complain(con, "%s has no SCSI generic node: is the module sg loaded?", disks.front().address.c_str());
    else
        return disks.front();
    return std::nullopt;
}

static exit_status complain_of_claim(const console &con, const disk &d)
{
    if (errno != EBUSY) {
        complain(con, "/dev/%s: %s: it can't be claimed, nothing was sent", d.block.c_str(), strerror(errno));
        return exit_failed;
    }
    const std::vector<std::string> users = find_users(d.block);
    for (const std::string &user : users)
        complain(con, "the drive is in use: %s", user.c_str());
    if (users.empty()) complain(con, "the drive is in use: another program holds /dev/%s", d.block.c_str());
    complain(con, "nothing was sent");
    return exit_in_use;
}

/* Only on a terminal, and only by the whole word. */
static bool is_agreed(const console &con, const options &o)
{
    if (o.yes) return true;
    if (isatty(STDIN_FILENO) == 0)
        return complain(con, "nobody to ask: -n is needed without a terminal"), false;
    say(con, "Write this image into this drive? Please enter \"Yes\": ");
    char answer[32] = "";
    if (!fgets(answer, sizeof answer, stdin) || strcmp(answer, "Yes\n") != 0)
        return complain(con, "nothing was sent"), false;
    return true;
}

/* Names of nodes are given anew when a drive is plugged: those that were opened belong to the address only if
 * they do so still. */
static bool is_still_there(const options &o, const disk &where)
{
    const std::vector<disk> disks = find_disks(o.host, o.target);
    return disks.size() == 1 && disks.front() == where;
}

/* The end of the story, for a drive that may restart by leaving the machine and coming back. */
static bool follow_drive(node *n, const drive &d, const options &o, const findings &f, int64_t deadline_ms)
{
    aftermath after = tell_new_revision(d, f.is_ata, f.revision, deadline_ms);
    while (after == aftermath::vanished && d.way->now_ms(d.handle) < deadline_ms) {
        d.way->pause(d.handle, 1000);
        const std::vector<disk> disks = find_disks(o.host, o.target);
        if (disks.size() != 1) continue;
        n->fd = open_node(disks.front().node.c_str());
        if (n->fd.get() != -1) after = tell_new_revision(d, f.is_ata, f.revision, deadline_ms);
    }
    if (after == aftermath::vanished) complain(d.con, "the drive took the whole image and vanished");
    return after == aftermath::told;
}

static void tell_plan(const console &con, const options &o, const plan &way, size_t image_size)
{
    say(con, "%s: %zu bytes\n", o.image.c_str(), image_size);
    const char *link = "to be sent by";
    for (const attempt &a : way.attempts) {
        say(con, "%s %s\n", link, describe(a, image_size).c_str());
        link = "or, if the drive refuses that at once, by";
    }
}

static exit_status flash(const console &con, const options &o, const disk &where,
                         std::span<const uint8_t> image)
{
    node n = {.fd = open_node(where.node.c_str()), .wants_details = con.debug >= 2};
    if (n.fd.get() == -1) {
        const int reason = errno;
        complain(con, "%s: %s: nothing was sent", where.node.c_str(), strerror(reason));
        return reason == EBUSY ? exit_in_use : exit_failed;
    }
    if (!is_still_there(o, where)) return complain(con, "the drive was exchanged meanwhile"), exit_no_disk;
    const drive d = {.way = &node_wire, .handle = &n, .con = con};
    const std::string place =
        where.address + " " + where.node + (where.block.empty() ? "" : " /dev/" + where.block);
    findings f;
    const exit_status status = examine(d, place, image.size(), read_limits(where), &f);
    if (status != exit_done) return status;

    tell_plan(con, o, f.way, image.size());
    if (!is_agreed(con, o)) return exit_failed;

    const int64_t deadline_ms = d.way->now_ms(d.handle) + all_ms;
    if (!send_image(d, f.way.attempts, image, deadline_ms)) return exit_failed;
    return follow_drive(&n, d, o, f, deadline_ms) ? exit_done : exit_failed;
}

int main(int argc, char *argv[])
{
    if (!open_standard_descriptors()) return exit_failed;
    signal(SIGPIPE, SIG_IGN); /* whoever read the messages may go away, and a log may reach its limit */
    signal(SIGXFSZ, SIG_IGN);

    console con;
    options o;
    const parsed p = parse_options(con, argc, argv, &o);
    if (p != parsed::run) return p == parsed::shown ? exit_done : exit_usage;
    con.debug = o.debug;

    std::string reason;
    const std::vector<uint8_t> image = read_image(o.image, &reason);
    if (image.empty()) return complain(con, "%s: %s", o.image.c_str(), reason.c_str()), exit_bad_image;
    const auto where = choose_disk(con, o);
    if (!where) return exit_no_disk;

    unique_fd claim(where->block.empty() ? -1 : claim_disk(where->block).release());
    if (!where->block.empty() && claim.get() == -1) return complain_of_claim(con, *where);
    return flash(con, o, *where, image);
}
