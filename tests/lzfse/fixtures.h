#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tovrin {

/// A stream and what it decodes to.
struct GoodStream {
  std::string name;
  std::string stream;
  std::size_t decodedBytes;
  std::string sha256;
};

/// A damaged stream, or one that only looks damaged, and what must become of it.
struct DamagedStream {
  enum class Outcome { corrupt, truncated, either, valid, any };

  std::string name;
  std::string stream;
  Outcome outcome;
  std::optional<GoodStream> decoded;  ///< for valid ones
  std::size_t unread = 0;             ///< bytes behind the end of a valid one
};

/// A folder of streams with a table of them.
std::vector<GoodStream> goodStreams(const std::filesystem::path& folder);
std::vector<DamagedStream> damagedStreams(const std::filesystem::path& folder);

/// The streams that come with the tests.
std::filesystem::path goodStreamsFolder();
std::filesystem::path damagedStreamsFolder();

}  // namespace tovrin
