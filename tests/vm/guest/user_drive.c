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

enum { mode_select = 0x15, rcd_byte = 6, rcd_bit = 1 };

static const uint8_t identity[36] = "\x00\x00\x05\x02\x1f\x00\x00\x02"
                                    "ACME    USER SPACE DRIVE0001";
static const uint8_t page_list[6] = {0, 0, 0, 2, 0x00, 0x80};
static const uint8_t serial_page[10] = {0, 0x80, 0, 6, 'U', 'S', 'E', 'R', '-', '1'};
static const uint8_t capacity[32] = {0, 0, 0, 0, 0, 0, 0xff, 0xff, 0, 0, 2, 0}; /* 65,536 of 512 bytes */
static uint8_t caching_page[24] = {23, 0, 0, 0, 0x08, 18};                      /* behind its mode header */

static const struct {
    uint8_t operation;
    int page; /* EVPD bit and page code as one number; -1: any */
    const uint8_t *reply;
    size_t len;
} commands[] = {
    {0x00,        -1,    NULL,         0                  }, /* TEST UNIT READY */
    {0x08,        -1,    NULL,         0                  }, /* READ(6): the buffer holds zeroes already */
    {0x12,        0x000, identity,     sizeof identity    }, /* INQUIRY */
    {0x12,        0x100, page_list,    sizeof page_list   },
    {0x12,        0x180, serial_page,  sizeof serial_page },
    {mode_select, -1,    NULL,         0                  },
    {0x1a,        -1,    caching_page, sizeof caching_page}, /* MODE SENSE(6): there is but one page */
    {0x28,        -1,    NULL,         0                  }, /* READ(10) */
    {0x9e,        -1,    capacity,     sizeof capacity    }, /* READ CAPACITY(16) */
};

static void answer(uint8_t *map, struct tcmu_cmd_entry *entry)
{
    /* The first piece of a buffer holds a page at least, more than any reply of ours. */
    const size_t room = entry->req.iov_cnt > 0 ? entry->req.iov[0].iov_len : 0;
    uint8_t *data = room > 0 ? map + (size_t)entry->req.iov[0].iov_base : map;
    const uint8_t *cdb = map + entry->req.cdb_off;
    const int page = (cdb[1] & 1) << 8 | cdb[2];
    int is_good = 0;
    for (size_t i = 0; i < sizeof commands / sizeof commands[0] && !is_good; i++) {
        is_good = commands[i].operation == cdb[0] && (commands[i].page == -1 || commands[i].page == page);
        if (is_good && commands[i].reply)
            memcpy(data, commands[i].reply, commands[i].len < room ? commands[i].len : room);
    }
    if (cdb[0] == mode_select && room == sizeof caching_page) caching_page[rcd_byte] = data[rcd_byte];
    printf("%02x %d\n", cdb[0], caching_page[rcd_byte] & rcd_bit);

    memset(&entry->rsp, 0, sizeof entry->rsp); /* the response lies over the request */
    if (is_good) return;
    entry->rsp.scsi_status = 2;
    memcpy(entry->rsp.sense_buffer, "\x70\x00\x05\x00\x00\x00\x00\x0a\x00\x00\x00\x00\x20", 13);
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
    } while (write(fd, &events, sizeof events) == sizeof events && read(fd, &events, sizeof events) > 0);
    return 1;
}
