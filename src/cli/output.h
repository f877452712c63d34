#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/date.h"
#include "foundation/result.h"
#include "foundation/utf8.h"

namespace tovrin::cli {

/// Writes all of it, unbuffered. A full disk or a reader that left is an error, not silence.
Result<void> writeStandardOutput(std::string_view text);

/// Columns that the text takes on a terminal.
std::size_t columnsOf(std::string_view text);
/// The text, or its beginning with "…", in at most `columns` columns.
std::string fitted(std::string_view text, std::size_t columns);

/// "1 file", "2 files".
std::string counted(std::uint64_t count, std::string_view singular);
/// Local time: "2025-03-01 12:00".
std::string readableDate(Date date);

}  // namespace tovrin::cli
