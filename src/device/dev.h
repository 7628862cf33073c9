/* dev.h - one record per physical drive, whichever back-end found it, and the operations the back-end
 * installs in it. Everything above the back-ends reaches a drive through this record only. */
#pragma once

#include "base/text.h"
#include "device/cmd.h"
#include "list/list.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sys/types.h>

struct controller;
struct info;

constexpr char interface_scsi = 'S';
constexpr char interface_ata = 'T';
constexpr size_t smart_page_size = 512;
constexpr char unknown_serial[] = "<unknown>"; /* of a drive that does not tell it */

struct Dev;

/* The operations table. Each takes the record it belongs to. Results: 1 success, 0 failure. A back-end has
 * one table that names every field, so that the compiler tells of one that is missing. */
struct dev_operations {
    void (*do_load_unload)(Dev *dev, uint32_t count); /* count cycles of the heads */
    int (*get_SMART)(Dev *dev, uint8_t *dst);         /* S.M.A.R.T. data page, smart_page_size bytes */
    std::unique_ptr<Cmd> (*fw_update)(Dev *dev);      /* flashing command; null: none can be made */
    void (*start_locate)(Dev *dev);                   /* in a record made elsewhere null: no way to show it */
    void (*end_locate)(Dev *dev);                     /* likewise */
    void (*dump_all_log_pages)(Dev *dev, const struct info *infop); /* null on sg drives */
    void (*get_fw_version)(Dev *dev); /* reads the running revision into target_rev */
    int (*scsi_cmd_out)(Dev *dev, const uint8_t *cdb, size_t cdblen, const void *datap, size_t datalen);
    int (*scsi_cmd_in)(Dev *dev, const uint8_t *cdb, size_t cdblen, void *datap, size_t datalen);
    int (*is_Tirsel_3)(Dev *dev);      /* 1: exit status 46 of its tool may be spurious */
    void (*get_device_info)(Dev *dev); /* re-reads the identity, at least rev */
};

struct Dev : dev_operations {
    text adapter;            /* block device name ("sda", "sdX" when unknown), or the controller's number */
    uint32_t ctrlId;         /* controller drives: the controller's number in its library */
    uint32_t unit_host;      /* SCSI host number, or the enclosure's device id */
    uint32_t slot_id;        /* SCSI target number, or the slot in the enclosure */
    uint32_t drv;            /* controller drives: device id in library commands */
    int fd;                  /* sg node opened read-write; -1: none is open */
    void *ProcessLibCommand; /* controller drives: the library's entry point */
    struct controller *controller; /* controller drives: what it hangs off; borrowed */
    char interface;                /* interface_scsi, interface_ata, or 0 when the controller does not say */
    uint64_t maxlba;               /* last addressable logical block */
    unsigned long blklen;          /* logical block length in bytes */
    text vendor;
    text model;
    text rev;        /* firmware revision, as discovery found it */
    text target_rev; /* revision the matched image brings; later, the one read back from the drive */
    text serial;

    int fw_update_successful; /* 1: the last flashing command succeeded */
    int selected;             /* discovery: keep this record; later: chosen for the current action */
    int failed;               /* 1: failed the S.M.A.R.T. check */
    const char *image;        /* path of the matched image, borrowed from its map entry; null: none */
    pid_t locate_pid;         /* child that keeps the activity light busy; -1: none */
};

/* A record with these operations and nothing else set: no descriptor, no locate child. Owned by the caller.
 */
Dev *new_dev(const dev_operations &ops);

/* "<adapter> [<unit_host>,<slot_id>]", at most 63 characters, in one static buffer of the calling
 * thread that every call overwrites. */
const char *device_name(const Dev *dev);

/* Order of the device list: by unit_host, then slot_id, each as an unsigned difference taken as signed. */
gint compare_devices(gconstpointer a, gconstpointer b);

/* True when two records name the same vendor, model and serial. What a drive did not tell equals nothing: two
 * drives that keep silent are two. */
bool is_same_drive(const Dev *a, const Dev *b);

/* List callback; user_data is a newly found drive. Clears its `selected` when the listed drive `data` is the
 * same: two roads lead to one drive, and the first found is kept. Says so where the serial numbers are equal
 * without being any, for these may be two drives. */
void is_in_list(gpointer data, gpointer user_data);

/* Marks dev as kept unless `list` holds the same drive already. Returns true when it is new. */
bool is_new_device(GList *list, Dev *dev);

/* List callback: the whole record on the error stream. */
void dump_one_device(gpointer data, gpointer user_data);

/* Closes the record's descriptor, if one is open, and releases the record with its texts. */
void free_one_dev(gpointer data);

struct free_dev {
    void operator()(Dev *dev) const { free_one_dev(dev); }
};
using dev_ptr = std::unique_ptr<Dev, free_dev>;
