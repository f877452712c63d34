#include "host/file_names.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <variant>

#include "foundation/path.h"
#include "platform/sha256.h"
#include "provider/identifier.h"

namespace tovrin::host {

namespace {

constexpr std::size_t kSuffixDigits = 6;
/// An extension longer than this is taken for a part of the name.
constexpr std::size_t kLongestExtension = 32;

std::string_view cutAtCharacter(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return text.substr(0, bytes);
}

std::string identifierSuffix(std::string_view identifier, std::size_t digits) {
  return "~" + sha256Hex(identifier).substr(0, digits);
}

/// Who keeps a name that several items have: the smallest key. An entry's path is unique in its folder, so at most one
/// entry of a folder ends in the name, and that one never moves.
auto precedence(const FolderMember& member, std::string_view name) {
  enum { namedByPath, warp, other };
  int rank = other;
  if (const auto identifier = TovrinFileProviderIdentifier::parse(member.identifier)) {
    const auto* entry = std::get_if<TovrinFileProviderIdentifier::Entry>(&identifier->value);
    if (entry != nullptr && lastPathComponent(entry->relativePath) == name) rank = namedByPath;
    if (std::holds_alternative<TovrinFileProviderIdentifier::Manifest>(identifier->value)) rank = warp;
  }
  return std::tuple(rank, member.identifier);
}

}  // namespace

std::string withSuffix(std::string_view name, std::string_view suffix) {
  const std::string_view extension = pathExtension(name);
  const std::size_t tailBytes = extension.empty() || extension.size() > kLongestExtension ? 0 : extension.size() + 1;
  const std::string_view tail = name.substr(name.size() - tailBytes);
  const std::string_view stem = name.substr(0, name.size() - tailBytes);
  return std::string(cutAtCharacter(stem, kLongestFileName - tailBytes - suffix.size())).append(suffix).append(tail);
}

std::string fileName(const FolderMember& member) {
  std::string name;
  name.reserve(member.filename.size());
  for (const char character : member.filename) {
    if (character != '\0') name += character == '/' ? ':' : character;
  }
  if (name.empty() || name == "." || name == "..") return name + identifierSuffix(member.identifier, kSuffixDigits);
  return name.size() > kLongestFileName ? withSuffix(name, {}) : name;
}

std::vector<std::string> fileNames(std::span<const FolderMember> members) {
  std::vector<std::string> names;
  names.reserve(members.size());
  for (const FolderMember& member : members) names.push_back(fileName(member));

  std::unordered_map<std::string_view, std::vector<std::size_t>> sameName;
  sameName.reserve(members.size());
  for (std::size_t i = 0; i < names.size(); ++i) sameName[names[i]].push_back(i);
  if (sameName.size() == names.size()) return names;

  std::unordered_set<std::string> taken;
  std::vector<std::size_t> suffixed;
  for (auto& [name, group] : sameName) {
    taken.emplace(name);
    if (group.size() == 1) continue;
    const auto keeper = std::ranges::min_element(
        group, {}, [&, shared = name](std::size_t i) { return precedence(members[i], shared); });
    for (const std::size_t i : group) {
      if (i != *keeper) suffixed.push_back(i);
    }
  }
  std::ranges::sort(suffixed, {}, [&](std::size_t i) { return members[i].identifier; });
  for (const std::size_t i : suffixed) {
    std::string name;
    std::size_t digits = kSuffixDigits;
    do {
      name = withSuffix(names[i], identifierSuffix(members[i].identifier, digits));
    } while (!taken.insert(name).second && ++digits <= 64);
    names[i] = std::move(name);
  }
  return names;
}

}  // namespace tovrin::host
