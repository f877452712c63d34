#include "cli/mount_helper.h"

#include <algorithm>
#include <filesystem>

#include "host/mounting/mount_options.h"

namespace tovrin::cli {

namespace {

/// Letters behind one "-", which mean other things to mount(8) than to a FUSE program.
void translateFlags(std::string_view letters, std::vector<std::string>& call) {
  for (const char letter : letters) {
    switch (letter) {
      case 's':
        call.emplace_back("--sloppy");
        break;
      case 'f':
        call.emplace_back("--fake");
        break;
      case 'n':  // there is no table to leave alone
        break;
      default:
        call.push_back({'-', letter});
    }
  }
}

/// Whether the mount is to look like one of another kind. Then it is known by its source alone.
bool isDisguised(const std::vector<std::string>& call) {
  return std::ranges::any_of(call, [](const std::string& list) {
    return std::ranges::any_of(host::splitMountOptions(list),
                               [](const std::string& option) { return option.starts_with("subtype="); });
  });
}

}  // namespace

bool isMountHelper(std::string_view program) {
  const std::string name = std::filesystem::path(program).filename().string();
  return name == "mount.tovrin" || name == "mount.fuse.tovrin";
}

std::vector<std::string> wordsOfMountHelper(const std::vector<std::string>& words) {
  std::vector<std::string> call{"mount"};
  std::vector<std::string> places;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    const bool takesNext = word == "-N" || word == "-t" || word == "-o";
    if (takesNext && i + 1 < words.size()) {
      if (word == "-o") call.insert(call.end(), {word, words[i + 1]});
      ++i;
    } else if (word.starts_with("-o")) {
      call.insert(call.end(), {"-o", word.substr(2)});
    } else if (word.starts_with("-") && !word.starts_with("--")) {
      translateFlags(std::string_view(word).substr(1), call);
    } else {
      (word.starts_with("--") ? call : places).push_back(word);
    }
  }
  if (places.empty()) return call;
  const std::string source = places.front();
  // The table of mounts then has the source of fstab, by which mount(8) knows that it is mounted.
  if (!isDisguised(call)) call.insert(call.begin() + 1, {"-o", "fsname=" + host::escapedMountOption(source)});
  if (source != "tovrin" && source != "none") call.insert(call.end(), {"--container", source});
  call.insert(call.end(), places.begin() + 1, places.end());
  return call;
}

}  // namespace tovrin::cli
