#pragma once

#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"

namespace tovrin::lzfse {

/// Writes all `header.literals` of a block. False for corrupt data. The 8 bytes in front of the payload must be
/// readable.
[[nodiscard]] bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table,
                                  const std::uint8_t* payload, std::uint8_t* literals);

}  // namespace tovrin::lzfse
