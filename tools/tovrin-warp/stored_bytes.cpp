#include "tovrin-warp/stored_bytes.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

namespace tovrin::warp {

Result<std::vector<DataRun>> findDataRuns(int file, std::int64_t size) {
  std::vector<DataRun> runs;
  for (off_t position = 0; position < size;) {
    const off_t begin = ::lseek(file, position, SEEK_DATA);
    if (begin < 0 && errno == ENXIO) break;  // nothing but a hole up to the end
    if (begin < 0 && errno == EINVAL) return std::vector<DataRun>{{0, size}};
    if (begin < 0) return failure(NSError::posix(errno));
    const off_t end = ::lseek(file, begin, SEEK_HOLE);
    if (end < 0) return failure(NSError::posix(errno));
    if (begin < size) runs.push_back({begin, std::min<std::int64_t>(end, size) - begin});
    position = end;
  }
  return runs;
}

StoredBytes::StoredBytes(int file, std::vector<DataRun> runs) : file_(file), runs_(std::move(runs)) {
  for (const DataRun& run : runs_) {
    starts_.push_back(size_);
    size_ += run.length;
  }
}

Result<void> StoredBytes::readAt(std::int64_t position, std::span<char> buffer) const {
  auto index = static_cast<std::size_t>(std::ranges::upper_bound(starts_, position) - starts_.begin()) - 1;
  while (!buffer.empty()) {
    const std::int64_t within = position - starts_[index];
    const std::int64_t left = runs_[index].length - within;
    if (left == 0) {
      ++index;
      continue;
    }
    const auto wanted =
        static_cast<std::size_t>(std::min<std::int64_t>(left, static_cast<std::int64_t>(buffer.size())));
    const ssize_t count = ::pread(file_, buffer.data(), wanted, runs_[index].offset + within);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failure(NSError::posix(errno));
    if (count == 0) return failure(NSError::posix(EIO, "The file became shorter while it was read."));
    buffer = buffer.subspan(static_cast<std::size_t>(count));
    position += count;
  }
  return {};
}

Result<SpoolFile> SpoolFile::create() {
  std::error_code error;
  std::string pattern = (std::filesystem::temp_directory_path(error) / "tovrin-warp-XXXXXX").string();
  Descriptor file(::mkostemp(pattern.data(), O_CLOEXEC));
  if (!file) return failure(NSError::posix(errno));
  ::unlink(pattern.c_str());
  return SpoolFile(std::move(file));
}

Result<void> SpoolFile::append(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file_.number(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failure(NSError::posix(errno));
    bytes.remove_prefix(static_cast<std::size_t>(count));
    size_ += count;
  }
  return {};
}

}  // namespace tovrin::warp
