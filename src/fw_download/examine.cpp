#include "fw_download/examine.h"

namespace fw_download
{

static exit_status find_way(const drive &d, plan &&way, findings *f)
{
    if (way.attempts.empty()) complain(d.con, "%s", way.reason.c_str());
    f->way = std::move(way);
    return f->way.status;
}

static void introduce(const drive &d, const std::string &place, const std::string &name, const findings &f)
{
    say(d.con, "%s: %s, revision %s, %s\n", place.c_str(), name.c_str(), f.revision.c_str(),
        f.is_ata ? "ATA" : "SCSI");
}

static exit_status examine_ata(const drive &d, const std::string &place, const identify_data &data,
                               size_t image_size, const node_limits &limits, findings *f)
{
    f->is_ata = true;
    f->revision = identify_revision(data);
    introduce(d, place, identify_model(data), *f);
    tell_ata_condition(d);
    return find_way(d, plan_ata(ask_ata_offer(d, data), image_size, limits), f);
}

static exit_status examine_scsi(const drive &d, const std::string &place, const identity &id,
                                size_t image_size, const node_limits &limits, findings *f)
{
    f->revision = id.revision;
    introduce(d, place, id.vendor + " " + id.product, *f);
    tell_condition(d);
    return find_way(d, plan_scsi(ask_scsi_offer(d), image_size, limits), f);
}

exit_status examine(const drive &d, const std::string &place, size_t image_size, const node_limits &limits,
                    findings *f)
{
    const auto id = ask_identity(d);
    if (!id) return complain(d.con, "%s does not answer INQUIRY", place.c_str()), exit_failed;
    if (id->type != 0) return complain(d.con, "%s is no disk", place.c_str()), exit_no_disk;
    if (!is_translated(d, *id)) return examine_scsi(d, place, *id, image_size, limits, f);

    outcome how;
    const auto data = ask_identify(d, &how);
    if (data) return examine_ata(d, place, *data, image_size, limits, f);
    /* Some that only look like a translator have the page, and no pass-through behind it. */
    if (id->vendor != "ATA" && is_unknown_command(how))
        return examine_scsi(d, place, *id, image_size, limits, f);
    /* A SCSI drive's way would pass by the limits that nobody told. */
    complain(d.con, "%s is an ATA drive and does not identify itself%s%s: nothing was sent", place.c_str(),
             how.text.empty() ? "" : ": ", how.text.c_str());
    return how.where == layer::drive || how.is_taken() ? exit_no_download : exit_failed;
}

} // namespace fw_download
