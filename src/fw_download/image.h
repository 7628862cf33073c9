/* image.h - the image's bytes. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fw_download
{

/* Reads the whole file, so that nothing that happens to it later matters. Nothing comes back, and *reason
 * says why, when it is no regular file, can't be read, is empty, changes meanwhile, or is larger than any
 * drive takes. */
std::vector<uint8_t> read_image(const std::string &path, std::string *reason);

} // namespace fw_download
