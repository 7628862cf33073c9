/* blocks.h - the command blocks that are sent: SPC-5, SAT-3, ACS-3. */
#pragma once

#include "fw_download/command.h"

namespace fw_download
{

/* Modes of WRITE BUFFER and, with the same meaning and numbers, subcommands of DOWNLOAD MICROCODE. */
enum download_mode : uint8_t {
    mode_offsets_ata = 0x03,   /* ATA only: in segments, saved, active at once or at the next power cycle */
    mode_whole_scsi = 0x05,    /* SCSI only: in one command, saved */
    mode_offsets_or_whole = 7, /* SCSI: in segments, saved. ATA: in one command, saved */
    mode_defer = 0x0E,         /* in segments, saved, not active before mode_activate */
    mode_activate = 0x0F,
};

/* Which command carries an image. */
enum class carrier { write_buffer, microcode_pio, microcode_dma };

constexpr size_t ata_block = 512;

command test_unit_ready();
command request_sense(std::span<uint8_t> in);
command inquiry(std::span<uint8_t> in);
command inquiry_page(uint8_t page, std::span<uint8_t> in);
command read_buffer_descriptor(std::span<uint8_t> in);

/* REPORT SUPPORTED OPERATION CODES for one operation code, or one of its service actions. */
command report_operation_code(uint8_t opcode, std::span<uint8_t> in);
command report_service_action(uint8_t opcode, uint16_t action, std::span<uint8_t> in);

/* ATA commands in ATA PASS-THROUGH(16). */
command identify_device(std::span<uint8_t> in);
command read_log_ext(uint8_t log, uint16_t page, std::span<uint8_t> in);
command smart_return_status();

/* One segment of an image from `offset` (bytes) on. An ATA carrier counts in blocks of ata_block: both offset
 * and size must be multiples, or their rest would be lost. */
command download_segment(carrier by, download_mode mode, uint32_t offset, std::span<const uint8_t> segment);

/* Makes what was deferred active; no data. */
command activate_download(carrier by);

} // namespace fw_download
