#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tovrin::host {

/// The longest file name that the file systems of this machine hold, in bytes.
inline constexpr std::size_t kLongestFileName = 255;

/// One item of a folder, by what its name is made from.
struct FolderMember {
  std::string_view identifier;
  std::string_view filename;
};

/// The item's name as a file system can hold it, as if it were alone in its folder: "/" becomes ":", NUL is dropped, an
/// empty name, "." and ".." get the suffix of `fileNames`, and a name that is too long is cut at a character, its
/// extension kept.
std::string fileName(const FolderMember& member);

/// `name` with `suffix` before its extension, the part before it cut so that the whole is short enough.
std::string withSuffix(std::string_view name, std::string_view suffix);

/// The names of all the items of one folder, in their order: those of `fileName`, made different where they are equal.
/// One of several equal names stays as it is; the others get a "~" and some digits of the identifier's SHA-256 before
/// the extension, so these do not move when a neighbour comes or goes. The plain name belongs to the entry whose own
/// path ends in it, else to a Warp before a folder above Warps, else to the smallest identifier.
std::vector<std::string> fileNames(std::span<const FolderMember> members);

}  // namespace tovrin::host
