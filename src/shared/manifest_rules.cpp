#include "shared/manifest_rules.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_set>

#include "foundation/character_block.h"
#include "foundation/encoding.h"
#include "foundation/path.h"
#include "platform/text.h"
#include "shared/path_table.h"

namespace tovrin {
namespace {

bool fits(std::int64_t offset, std::int64_t length) {
  return offset >= 0 && length >= 0 && length <= std::numeric_limits<std::int64_t>::max() - offset;
}

/// The paths of a list, by canonical equivalence. Most are ASCII, which is its own canonical form and is not copied.
template <class List, class PathOf>
class PathSet {
 public:
  PathSet(const List& list, PathOf pathOf) : list_(list), pathOf_(pathOf) { plain_.reserve(list.size()); }

  /// False when the path of an equivalent element was added before.
  bool add(std::uint32_t element) {
    const std::string_view path = pathOf_(list_[element]);
    if (!isASCII(path)) return canonical_.insert(canonicalForm(path)).second;
    return plain_.findOrAdd(path, element, pathAt()) == element;
  }
  bool contains(std::string_view path) const {
    if (!isASCII(path)) return canonical_.contains(canonicalForm(path));
    return plain_.find(path, pathAt()) != PathTable::kAbsent;
  }

 private:
  auto pathAt() const {
    return [this](std::uint32_t element) { return pathOf_(list_[element]); };
  }

  const List& list_;
  PathOf pathOf_;
  PathTable plain_;
  std::unordered_set<std::string> canonical_;
};

std::string_view pathOfEntry(const TovrinWarpSharedEntry& entry) { return entry.relativePath; }

bool areFinite(const TovrinWarpSharedManifest& manifest) {
  return manifest.createdAt.isFinite() && (!manifest.uploadedAt || manifest.uploadedAt->isFinite()) &&
         (!manifest.replacedAt || manifest.replacedAt->isFinite());
}

bool areDistinctInside(const auto& list, std::string_view folder, const auto& pathOf) {
  PathSet seen(list, pathOf);
  for (std::uint32_t element = 0; element < list.size(); ++element) {
    if (!seen.add(element) || !liesInside(pathOf(list[element]), folder)) return false;
  }
  return true;
}

/// White space and newlines as the platform trims them: Zs, U+0009 to U+000D, U+0085, U+2028, U+2029.
std::string_view withoutLeadingWhiteSpace(std::string_view text) {
  static constexpr std::string_view kSpaces[] = {" ",
                                                 "\t",
                                                 "\n",
                                                 "\v",
                                                 "\f",
                                                 "\r",
                                                 "\xC2\x85",
                                                 "\xC2\xA0",
                                                 "\xE1\x9A\x80",
                                                 "\xE2\x80\x80",
                                                 "\xE2\x80\x81",
                                                 "\xE2\x80\x82",
                                                 "\xE2\x80\x83",
                                                 "\xE2\x80\x84",
                                                 "\xE2\x80\x85",
                                                 "\xE2\x80\x86",
                                                 "\xE2\x80\x87",
                                                 "\xE2\x80\x88",
                                                 "\xE2\x80\x89",
                                                 "\xE2\x80\x8A",
                                                 "\xE2\x80\xA8",
                                                 "\xE2\x80\xA9",
                                                 "\xE2\x80\xAF",
                                                 "\xE2\x81\x9F",
                                                 "\xE3\x80\x80"};
  for (;;) {
    const auto* space = std::ranges::find_if(kSpaces, [&](std::string_view s) { return text.starts_with(s); });
    if (space == std::end(kSpaces)) return text;
    text.remove_prefix(space->size());
  }
}

bool isAbsolute(std::string_view path) { return withoutLeadingWhiteSpace(path).starts_with('/'); }

}  // namespace

bool isSupportedVersion(std::int64_t version) { return version >= 1 && version <= 4; }

bool isSHA256Hex(std::string_view text) {
  if (text.size() != 64) return false;
  CharacterBlock isHex = ~CharacterBlock{};
  forEachBlock(text, [&](const char* block) {
    const CharacterBlock characters = blockAt(block);
    const CharacterBlock lowerCase = characters | 0x20;
    const CharacterBlock isDigit = (characters >= '0') & (characters <= '9');
    const CharacterBlock isLetter = (lowerCase >= 'a') & (lowerCase <= 'f');
    isHex &= isDigit | isLetter;
  });
  return !holdsAnywhere(~isHex);
}

bool isSafePart(const TovrinWarpSharedPayloadPart& part) {
  return fits(part.offset, part.size) && isSafeRelativeObjectKey(part.key);
}

bool extentsLieInside(const TovrinWarpSharedEntry& entry) {
  return std::ranges::all_of(entry.rare->sparseExtents, [&](const TovrinWarpSharedSparseExtent& extent) {
    return fits(extent.logicalOffset, extent.length) && fits(extent.storedOffset, extent.length) &&
           extent.logicalOffset + extent.length <= entry.size &&
           extent.storedOffset + extent.length <= entry.storedSize;
  });
}

bool hasSafeIdentity(const TovrinWarpSharedManifest& manifest) {
  return !manifest.warpID.empty() && !manifest.deviceID.empty() && isSafeRelativeObjectKey(manifest.manifestKey) &&
         isCanonicalAbsolutePath(manifest.originalFolderPath);
}

bool hasConsistentDatesAndPaths(const TovrinWarpSharedManifest& manifest) {
  const std::string_view folder = manifest.originalFolderPath;
  return areFinite(manifest) && areDistinctInside(manifest.entries, folder, pathOfEntry) &&
         std::ranges::all_of(manifest.verificationSampleRelativePaths, isCanonicalAbsolutePath) &&
         areDistinctInside(manifest.verificationSampleRelativePaths, folder,
                           [](std::string_view path) { return path; });
}

bool hasInnerHardLinks(const TovrinWarpSharedManifest& manifest) {
  const auto isLink = [](const TovrinWarpSharedEntry& entry) { return entry.rare->hardLinkPrimaryPath.has_value(); };
  if (std::ranges::none_of(manifest.entries, isLink)) return true;
  PathSet paths(manifest.entries, pathOfEntry);
  for (std::uint32_t entry = 0; entry < manifest.entries.size(); ++entry) paths.add(entry);
  return std::ranges::all_of(manifest.entries, [&](const TovrinWarpSharedEntry& entry) {
    return !isLink(entry) || (!canonicallyEqual(*entry.rare->hardLinkPrimaryPath, entry.relativePath) &&
                              paths.contains(*entry.rare->hardLinkPrimaryPath));
  });
}

bool hasOnlyAbsolutePaths(const TovrinWarpSharedManifest& manifest) {
  return isAbsolute(manifest.originalFolderPath) &&
         std::ranges::all_of(manifest.entries, [](const auto& entry) { return isAbsolute(entry.relativePath); }) &&
         std::ranges::all_of(manifest.verificationSampleRelativePaths, isAbsolute);
}

bool liesInside(std::string_view path, std::string_view originalFolderPath) {
  const bool isOpenEnded = originalFolderPath.ends_with('/');
  if (isASCII(path) && isASCII(originalFolderPath))
    return path.starts_with(originalFolderPath) &&
           (isOpenEnded || path.size() == originalFolderPath.size() || path[originalFolderPath.size()] == '/');
  std::string prefix(originalFolderPath);
  if (!isOpenEnded) prefix += '/';
  return canonicallyEqual(path, originalFolderPath) || hasCanonicalPrefix(path, prefix);
}

}  // namespace tovrin
