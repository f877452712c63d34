#include "mount/same_tree.h"

#include <sys/stat.h>

#include <map>
#include <string>

#include "support/scratch_folder.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

constexpr mode_t kWriteBits = 0222;

std::string describe(const fs::path& path) {
  struct stat status{};
  if (lstat(path.c_str(), &status) != 0) return "nothing";
  std::string text = std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
  if (S_ISLNK(status.st_mode)) return "link to " + fs::read_symlink(path).native() + " of " + text;
  const mode_t permissions = status.st_mode & 07777 & (S_ISDIR(status.st_mode) ? ~kWriteBits : ~mode_t{0});
  text += " with permissions " + std::to_string(permissions);
  if (S_ISDIR(status.st_mode)) return "folder of " + text;
  return "file of " + std::to_string(status.st_size) + " bytes of " + text;
}

std::map<std::string, std::string> describeAll(const fs::path& folder) {
  std::map<std::string, std::string> found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().filename() == ".tovrin-warped.json") continue;
    found.emplace(entry.path().lexically_relative(folder).native(), describe(entry.path()));
  }
  return found;
}

}  // namespace

::testing::AssertionResult isSameTree(const fs::path& expected, const fs::path& actual) {
  const auto before = describeAll(expected);
  const auto after = describeAll(actual);
  for (const auto& [name, description] : before) {
    const auto found = after.find(name);
    if (found == after.end()) return ::testing::AssertionFailure() << name << " is missing";
    if (found->second != description) {
      return ::testing::AssertionFailure() << name << " is a " << found->second << " instead of a " << description;
    }
    if (description.starts_with("file") && readFile(expected / name) != readFile(actual / name)) {
      return ::testing::AssertionFailure() << name << " has other bytes";
    }
  }
  if (after.size() != before.size()) return ::testing::AssertionFailure() << "there is more than there was";
  return ::testing::AssertionSuccess();
}

}  // namespace tovrin
