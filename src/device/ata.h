/* ata.h - ATA commands (ACS) that both back-ends send, and what some of them want in their registers. */
#pragma once

#include <cstdint>

constexpr uint8_t ATA_READ_VERIFY = 0x40;
constexpr uint8_t ATA_READ_VERIFY_EXT = 0x42;
constexpr uint8_t ATA_SMART = 0xB0;
constexpr uint8_t ATA_IDENTIFY_DEVICE = 0xEC;

constexpr uint8_t ATA_SMART_READ_DATA = 0xD0;       /* feature */
constexpr uint64_t ATA_SMART_SIGNATURE = 0xC24F00;  /* LBA */
constexpr uint64_t ATA_MAX_LBA_28_BIT = 0x0FFFFFFF; /* above it, the EXT command is needed */
