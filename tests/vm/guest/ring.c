#include "ring.h"

#define __LINUX_UIO_H /* its struct iovec is sys/uio.h's */
#include <fcntl.h>
#include <linux/target_core_user.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

enum { max_pieces = 1024 };

static void serve_request(uint8_t *map, struct tcmu_cmd_entry *entry)
{
    struct iovec pieces[max_pieces];
    const size_t count = entry->req.iov_cnt < max_pieces ? entry->req.iov_cnt : max_pieces;
    for (size_t i = 0; i < count; i++) {
        pieces[i].iov_base = map + (size_t)entry->req.iov[i].iov_base;
        pieces[i].iov_len = entry->req.iov[i].iov_len;
    }
    uint8_t sense[ring_sense_size] = {0};
    const uint8_t status = answer_command(map + entry->req.cdb_off, pieces, count, sense);
    memset(&entry->rsp, 0, sizeof entry->rsp); /* the response lies over the request */
    entry->rsp.scsi_status = status;
    memcpy(entry->rsp.sense_buffer, sense, sizeof sense);
}

void serve_ring(const char *uio, size_t len)
{
    const int fd = open(uio, O_RDWR | O_CLOEXEC);
    uint8_t *map = mmap(NULL, len, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED) return;
    volatile struct tcmu_mailbox *box = (volatile struct tcmu_mailbox *)map;
    uint32_t events = 0;
    do {
        while (box->cmd_tail != box->cmd_head) {
            struct tcmu_cmd_entry *entry = (struct tcmu_cmd_entry *)(map + box->cmdr_off + box->cmd_tail);
            const uint32_t entry_len = tcmu_hdr_get_len(entry->hdr.len_op);
            if (tcmu_hdr_get_op(entry->hdr.len_op) == TCMU_OP_CMD) serve_request(map, entry);
            box->cmd_tail = (box->cmd_tail + entry_len) % box->cmdr_size;
        }
    } while (write(fd, &events, sizeof events) == sizeof events && read(fd, &events, sizeof events) > 0);
}
