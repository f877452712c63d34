#include "support/scratch_folder.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace tovrin {

ScratchFolder::ScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tovrin-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a scratch folder");
  path_ = std::filesystem::canonical(pattern);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t countFiles(const std::filesystem::path& folder) {
  if (!std::filesystem::exists(folder)) return 0;
  const std::filesystem::recursive_directory_iterator begin(folder);
  return static_cast<std::size_t>(std::distance(begin, std::filesystem::recursive_directory_iterator()));
}

}  // namespace tovrin
