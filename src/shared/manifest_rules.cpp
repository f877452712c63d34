#include "shared/manifest_rules.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_set>

#include "foundation/encoding.h"
#include "foundation/path.h"
#include "platform/text.h"

namespace tovrin {
namespace {

bool fits(std::int64_t offset, std::int64_t length) {
  return offset >= 0 && length >= 0 && length <= std::numeric_limits<std::int64_t>::max() - offset;
}

/// Paths by canonical equivalence. Most are ASCII, which is its own canonical form and is not copied.
class PathSet {
 public:
  explicit PathSet(std::size_t count) { plain_.reserve(count); }

  /// False when an equivalent path is there already.
  bool insert(std::string_view path) {
    return isASCII(path) ? plain_.insert(path).second : canonical_.insert(canonicalForm(path)).second;
  }
  bool contains(std::string_view path) const {
    return isASCII(path) ? plain_.contains(path) : canonical_.contains(canonicalForm(path));
  }

 private:
  std::unordered_set<std::string_view> plain_;
  std::unordered_set<std::string> canonical_;
};

bool areFinite(const TovrinWarpSharedManifest& manifest) {
  return manifest.createdAt.isFinite() && (!manifest.uploadedAt || manifest.uploadedAt->isFinite()) &&
         (!manifest.replacedAt || manifest.replacedAt->isFinite());
}

bool areDistinctInside(const auto& elements, std::string_view folder, const auto& pathOf) {
  PathSet seen(elements.size());
  return std::ranges::all_of(elements, [&](const auto& element) {
    const std::string_view path = pathOf(element);
    return seen.insert(path) && liesInside(path, folder);
  });
}

constexpr bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

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

bool isSHA256Hex(std::string_view text) { return text.size() == 64 && std::ranges::all_of(text, isHexDigit); }

bool isSafePart(const TovrinWarpSharedPayloadPart& part) {
  return fits(part.offset, part.size) && isSafeRelativeObjectKey(part.key);
}

bool extentsLieInside(const TovrinWarpSharedEntry& entry) {
  return std::ranges::all_of(entry.sparseExtents, [&](const TovrinWarpSharedSparseExtent& extent) {
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
  return areFinite(manifest) &&
         areDistinctInside(manifest.entries, folder, [](const auto& entry) { return entry.relativePath; }) &&
         std::ranges::all_of(manifest.verificationSampleRelativePaths, isCanonicalAbsolutePath) &&
         areDistinctInside(manifest.verificationSampleRelativePaths, folder,
                           [](std::string_view path) { return path; });
}

bool hasInnerHardLinks(const TovrinWarpSharedManifest& manifest) {
  const auto isLink = [](const TovrinWarpSharedEntry& entry) { return entry.hardLinkPrimaryPath.has_value(); };
  if (std::ranges::none_of(manifest.entries, isLink)) return true;
  PathSet paths(manifest.entries.size());
  for (const auto& entry : manifest.entries) paths.insert(entry.relativePath);
  return std::ranges::all_of(manifest.entries, [&](const TovrinWarpSharedEntry& entry) {
    return !isLink(entry) || (!canonicallyEqual(*entry.hardLinkPrimaryPath, entry.relativePath) &&
                              paths.contains(*entry.hardLinkPrimaryPath));
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
