#pragma once

#include <filesystem>
#include <string_view>

namespace tovrin {

/// A fresh folder for one test, removed with everything in it at the end.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// Makes the folders above `path` and writes the file.
void writeFile(const std::filesystem::path& path, std::string_view bytes);
std::string readFile(const std::filesystem::path& path);
/// How many files, links and folders lie in `folder`, at any depth; 0 when it does not exist.
std::size_t countFiles(const std::filesystem::path& folder);

}  // namespace tovrin
