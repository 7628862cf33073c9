/* user_drive.c - a SCSI drive that answers from user space, through the kernel's target framework.
 * The simulated drives of QEMU and of the kernel refuse a MODE SELECT whose PF bit is clear. This one takes
 * it, as many real drives do, so that its caching page does change. Writes a line per command: operation
 * code, read-cache-disable bit. usage: user_drive /dev/uioN LENGTH-OF-THE-RING. Never ends by itself. */
#include <fcntl.h>
#include <linux/target_core_user.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

enum { page_code = 0x08, page_size = 20, header_size = 4 };

static const uint8_t identity[] = "\x00\x00\x05\x02\x1f\x00\x00\x02"
                                  "ACME    USER SPACE DRIVE0001";
static const uint8_t page_list[] = "\x00\x00\x00\x02\x00\x80";
static const uint8_t serial_page[] = "\x00\x80\x00\x06"
                                     "USER-1";
static const uint8_t capacity_16[32] = {0,    0,    0, 0, 0, 0,
                                        0xff, 0xff, 0, 0, 2, 0}; /* 65,536 blocks of 512 bytes */
static const uint8_t capacity_10[8] = {0, 0, 0xff, 0xff, 0, 0, 2, 0};
static uint8_t mode_data[header_size + page_size] = {
    header_size + page_size - 1, 0, 0, 0, page_code, page_size - 2};
static uint8_t *const read_cache_disable = &mode_data[header_size + 2]; /* bit 0 */

/* What each command answers; a read answers the zeroes that its buffer holds already. */
static const struct {
    uint8_t operation;
    int page; /* byte 1 bit 0 and byte 2 (without page control) as one number; -1: not looked at */
    const uint8_t *reply;
    size_t len;
} replies[] = {
    {0x00, -1,        NULL,        0                     }, /* TEST UNIT READY */
    {0x08, -1,        NULL,        0                     }, /* READ(6) */
    {0x28, -1,        NULL,        0                     }, /* READ(10) */
    {0x15, -1,        NULL,        0                     }, /* MODE SELECT(6) */
    {0x25, -1,        capacity_10, sizeof capacity_10    },
    {0x9e, -1,        capacity_16, sizeof capacity_16    },
    {0x12, 0x000,     identity,    sizeof identity - 1   },
    {0x12, 0x100,     page_list,   sizeof page_list - 1  },
    {0x12, 0x180,     serial_page, sizeof serial_page - 1},
    {0x1a, page_code, mode_data,   sizeof mode_data      },
};

static void answer(uint8_t *map, struct tcmu_cmd_entry *entry)
{
    const uint8_t *cdb = map + entry->req.cdb_off;
    const uint8_t operation = cdb[0];
    /* The first piece of a buffer holds a page at least, more than any reply of ours. */
    uint8_t *data = entry->req.iov_cnt > 0 ? map + (size_t)entry->req.iov[0].iov_base : NULL;
    const size_t room = entry->req.iov_cnt > 0 ? entry->req.iov[0].iov_len : 0;
    const int page = operation == 0x1a ? cdb[2] & 0x3f : (cdb[1] & 1) << 8 | cdb[2];
    int found = 0;
    for (size_t i = 0; i < sizeof replies / sizeof replies[0] && !found; i++) {
        found = replies[i].operation == operation && (replies[i].page == -1 || replies[i].page == page);
        if (found && replies[i].reply)
            memcpy(data, replies[i].reply, replies[i].len < room ? replies[i].len : room);
    }
    if (operation == 0x15 && room == sizeof mode_data) *read_cache_disable = data[header_size + 2] & 1;
    printf("%02x %d\n", operation, *read_cache_disable);

    memset(&entry->rsp, 0, sizeof entry->rsp); /* the response lies over the request */
    if (!found) {
        entry->rsp.scsi_status = 2;
        memcpy(entry->rsp.sense_buffer, "\x70\x00\x05\x00\x00\x00\x00\x0a\x00\x00\x00\x00\x20", 13);
    }
}

int main(int argc, char **argv)
{
    if (argc != 3) return 2;
    const int fd = open(argv[1], O_RDWR | O_CLOEXEC);
    uint8_t *map = mmap(NULL, strtoul(argv[2], NULL, 0), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) return 1;
    setvbuf(stdout, NULL, _IOLBF, 0);
    volatile struct tcmu_mailbox *box = (volatile struct tcmu_mailbox *)map;
    uint32_t events = 0;
    do {
        while (box->cmd_tail != box->cmd_head) {
            struct tcmu_cmd_entry *entry = (struct tcmu_cmd_entry *)(map + box->cmdr_off + box->cmd_tail);
            const uint32_t len = tcmu_hdr_get_len(entry->hdr.len_op);
            if (tcmu_hdr_get_op(entry->hdr.len_op) == TCMU_OP_CMD) answer(map, entry);
            box->cmd_tail = (box->cmd_tail + len) % box->cmdr_size;
        }
        events = 0;
    } while (write(fd, &events, sizeof events) == sizeof events &&
             read(fd, &events, sizeof events) == sizeof events);
    return 1;
}
