#include "device/sgen/transport.h"

#include "base/dump.h"
#include "base/settings.h"
#include "base/text.h"
#include "base/trace.h"
#include "device/cdb.h"
#include "device/sgen/ata_passthrough.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <scsi/sg.h>
#include <sys/ioctl.h>

thread_local uint32_t scsi_error;

namespace sgen
{

constexpr unsigned timeout_ms = 10000;
constexpr size_t sense_size = 64;
constexpr size_t label_size = 16;

constexpr unsigned masked_check_condition = 1; /* as the sg driver shifts the status byte */
constexpr unsigned driver_status_mask = 0x0F;
constexpr uint8_t sense_descriptor_format = 0x72;
constexpr uint8_t sense_key_recovered_error = 1;
constexpr uint8_t sense_key_mask = 0x0F;
constexpr size_t first_sense_descriptor = 8;

namespace
{
struct request {
    const char *function; /* names the verbose dump */
    int direction;        /* SG_DXFER_... */
    const uint8_t *cdb;
    size_t cdblen;
    void *datap;
    size_t datalen;
};
} // namespace

/* "SATA(ECh)" or "SCSI(12h)": what the command block asks for. */
static std::string command_label(const uint8_t *cdb)
{
    if (cdb[0] == ATA_PASS_THROUGH_12)
        return format_text(label_size, "SATA(%02Xh)", cdb[offsetof(ata_passthrough_12, command)]);
    if (cdb[0] == ATA_PASS_THROUGH_16)
        return format_text(label_size, "SATA(%02Xh)", cdb[offsetof(ata_passthrough_16, command)]);
    return format_text(label_size, "SCSI(%02Xh)", cdb[0]);
}

/* Prints the ATA registers out of an ATA status return descriptor (SAT), 14 bytes. */
static void show_ATA_registers(const uint8_t *d)
{
    constexpr uint8_t extend = 1;
    say("SENSE DATA:\n");
    say("    error=%02x\n", d[3]);
    if (d[2] & extend) {
        say("    sector_count=%02x%02x\n", d[4], d[5]);
        say("    lba=%02x%02x%02x%02x%02x%02x\n", d[10], d[8], d[6], d[11], d[9], d[7]);
    } else {
        say("    sector_count=%02x\n", d[5]);
        say("    lba=%02x%02x%02x\n", d[11], d[9], d[7]);
    }
    say("    device=%02x\n", d[12]);
    say("    status=%02x\n", d[13]);
}

static bool returns_ATA_registers(const sg_io_hdr &hdr, const uint8_t *sense)
{
    return hdr.masked_status == masked_check_condition && sense[0] == sense_descriptor_format &&
           (sense[1] & sense_key_mask) == sense_key_recovered_error;
}

/* Judges a request that the kernel carried out. Returns true for success. */
static bool check_outcome(const sg_io_hdr &hdr, const uint8_t *sense, const char *label)
{
    if (hdr.masked_status != 0) {
        if (returns_ATA_registers(hdr, sense)) {
            if (verbose) show_ATA_registers(sense + first_sense_descriptor);
            return true;
        }
        if (verbose) {
            say("%s: masked_status == %d\n", label, hdr.masked_status);
            dump("SENSE DATA", sense, std::min<size_t>(hdr.sb_len_wr, sense_size));
        }
        scsi_error = static_cast<uint32_t>(sense[2] & sense_key_mask) << 16 |
                     static_cast<uint32_t>(sense[12]) << 8 | sense[13];
        return false;
    }
    const unsigned driver_status = hdr.driver_status & driver_status_mask;
    if (driver_status != 0) {
        say("%s: driver_status == %d\n", label, static_cast<int>(driver_status));
        return false;
    }
    if (hdr.host_status != 0) {
        say("%s: host_status == %d\n", label, hdr.host_status);
        return false;
    }
    return true;
}

/* Sends a request and waits for its end. Returns true for success. */
static bool send_request(const Dev *dev, const request &req)
{
    if (req.cdblen > cdb_size) {
        dump("CDB", req.cdb, cdb_size);
        abort();
    }
    if (verbose) dump(req.function, req.cdb, req.cdblen);

    uint8_t sense[sense_size] = {};
    sg_io_hdr hdr = {};
    hdr.interface_id = 'S';
    hdr.dxfer_direction = req.direction;
    hdr.cmd_len = static_cast<unsigned char>(req.cdblen);
    hdr.mx_sb_len = sizeof sense;
    hdr.dxfer_len = static_cast<unsigned>(req.datalen);
    hdr.dxferp = req.datap;
    hdr.cmdp = const_cast<uint8_t *>(req.cdb); /* the kernel only reads it */
    hdr.sbp = sense;
    hdr.timeout = timeout_ms;

    const std::string label = command_label(req.cdb);
    scsi_error = 0;
    if (ioctl(dev->fd, SG_IO, &hdr) == -1) {
        const int error = errno;
        dump("CDB", req.cdb, req.cdblen);
        errno = error;
        report_error("ioctl(SG_IO)");
        return false;
    }
    if (!check_outcome(hdr, sense, label.c_str())) return false;
    trace("%s: duration=%u ms\n", label.c_str(), hdr.duration);
    return true;
}

int scsi_cmd_nodata(Dev *dev, const uint8_t *cdb, size_t cdblen)
{
    return send_request(dev, {"scsi_cmd_nodata", SG_DXFER_NONE, cdb, cdblen, nullptr, 0}) ? 1 : 0;
}

int scsi_cmd_in(Dev *dev, const uint8_t *cdb, size_t cdblen, void *datap, size_t datalen)
{
    return send_request(dev, {"scsi_cmd_in", SG_DXFER_FROM_DEV, cdb, cdblen, datap, datalen}) ? 1 : 0;
}

int scsi_cmd_out(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *datap, size_t datalen)
{
    /* The kernel only reads the buffer in this direction. */
    void *const sent = const_cast<void *>(datap);
    return send_request(dev, {"scsi_cmd_out", SG_DXFER_TO_DEV, cdb, cdblen, sent, datalen}) ? 1 : 0;
}

} // namespace sgen
