/* bytes.h - multi-byte numbers in what is sent to drives and received from them. */
#pragma once

#include <cstddef>
#include <cstdint>

/* Stores the low `nbytes` bytes of value, most significant first (SCSI). */
inline void put_be(uint8_t *dst, uint64_t value, size_t nbytes)
{
    for (size_t i = nbytes; i-- > 0; value >>= 8)
        dst[i] = static_cast<uint8_t>(value);
}

/* Reads `nbytes` (at most 8) bytes, most significant first. */
inline uint64_t get_be(const uint8_t *src, size_t nbytes)
{
    uint64_t value = 0;
    for (size_t i = 0; i < nbytes; ++i)
        value = value << 8 | src[i];
    return value;
}

/* Reads `nbytes` (at most 8) bytes, least significant first (ATA). */
inline uint64_t get_le(const uint8_t *src, size_t nbytes)
{
    uint64_t value = 0;
    for (size_t i = nbytes; i-- > 0;)
        value = value << 8 | src[i];
    return value;
}
