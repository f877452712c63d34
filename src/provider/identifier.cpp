#include "provider/identifier.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "foundation/encoding.h"
#include "foundation/path.h"
#include "platform/text.h"

namespace tovrin {

namespace {

constexpr std::string_view kAbsolutePrefix = "absolute:";
constexpr std::string_view kManifestPrefix = "manifest:";
constexpr std::string_view kEntryPrefix = "entry:";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

template <class... Visitors>
struct Overloaded : Visitors... {
  using Visitors::operator()...;
};

std::string joined(std::string_view prefix, std::string_view text) {
  std::string result;
  result.reserve(prefix.size() + text.size());
  result += prefix;
  result += text;
  return result;
}

/// The three pieces between colons; the third is all that is left after two splits. A piece that is empty is left out
/// and uses up no split.
std::optional<std::array<std::string_view, 3>> threePieces(std::string_view text) {
  std::array<std::string_view, 3> pieces;
  std::size_t found = 0;
  while (found < 2) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    if (colon > 0) pieces[found++] = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.empty()) return std::nullopt;
  pieces[2] = text;
  return pieces;
}

std::optional<TovrinFileProviderIdentifier> parseAbsoluteDirectory(std::string_view token) {
  auto path = decodePathToken(token);
  if (!path) return std::nullopt;
  return TovrinFileProviderIdentifier{TovrinFileProviderIdentifier::AbsoluteDirectory{std::move(*path)}};
}

std::optional<TovrinFileProviderIdentifier> parseEntry(std::string_view text) {
  const auto pieces = threePieces(text);
  if (!pieces) return std::nullopt;
  auto relativePath = decodePathToken((*pieces)[2]);
  if (!relativePath) return std::nullopt;
  return TovrinFileProviderIdentifier{
      TovrinFileProviderIdentifier::Entry{std::string((*pieces)[1]), std::move(*relativePath)}};
}

}  // namespace

std::optional<TovrinFileProviderIdentifier> TovrinFileProviderIdentifier::parse(std::string_view text) {
  if (text == kWarpedRootIdentifier) return TovrinFileProviderIdentifier{WarpedRoot{}};
  if (text.starts_with(kManifestPrefix)) {
    return TovrinFileProviderIdentifier{Manifest{std::string(text.substr(kManifestPrefix.size()))}};
  }
  if (text.starts_with(kAbsolutePrefix)) return parseAbsoluteDirectory(text.substr(kAbsolutePrefix.size()));
  if (text.starts_with(kEntryPrefix)) return parseEntry(text);
  return std::nullopt;
}

std::string TovrinFileProviderIdentifier::format() const {
  return std::visit(Overloaded{[](const AbsoluteDirectory& folder) { return absoluteDirectoryIdentifier(folder.path); },
                               [](const Manifest& manifest) { return manifestIdentifier(manifest.warpID); },
                               [](const Entry& entry) { return entryIdentifier(entry.warpID, entry.relativePath); },
                               [](const WarpedRoot&) { return std::string(kWarpedRootIdentifier); }},
                    value);
}

std::string absoluteDirectoryIdentifier(std::string_view path) {
  return joined(kAbsolutePrefix, encodePathToken(path));
}

std::string manifestIdentifier(std::string_view warpID) { return joined(kManifestPrefix, warpID); }

std::string entryIdentifier(std::string_view warpID, std::string_view relativePath) {
  const std::string token = encodePathToken(relativePath);
  std::string result;
  result.reserve(kEntryPrefix.size() + warpID.size() + 1 + token.size());
  result += kEntryPrefix;
  result += warpID;
  result += ':';
  result += token;
  return result;
}

std::string encodePathToken(std::string_view path) { return base64URLEncode(path); }

std::optional<std::string> decodePathToken(std::string_view token) {
  std::string base64(token);
  std::ranges::replace(base64, '-', '+');
  std::ranges::replace(base64, '_', '/');
  base64.append((4 - base64.size() % 4) % 4, '=');
  auto path = base64Decode(base64);
  if (!path || !isValidUTF8(*path)) return std::nullopt;
  // Reading bytes as text takes a leading byte order mark as no part of the text.
  if (path->starts_with(kByteOrderMark)) path->erase(0, kByteOrderMark.size());
  return path;
}

std::optional<std::string> parentDirectoryPath(std::string_view absolutePath) {
  std::string parent;
  std::string_view last;
  while (!absolutePath.empty()) {
    const std::string_view component = absolutePath.substr(0, absolutePath.find('/'));
    absolutePath.remove_prefix(std::min(component.size() + 1, absolutePath.size()));
    if (component.empty()) continue;
    if (!last.empty()) parent.append(1, '/').append(last);
    last = component;
  }
  if (parent.empty()) return std::nullopt;
  return parent;
}

std::string directoryDisplayName(std::string_view absolutePath) {
  const std::string_view name = lastPathComponent(absolutePath);
  return std::string(name.empty() || name == "/" ? "System" : name);
}

std::optional<std::string> entryParentPath(std::string_view relativePath, const TovrinWarpSharedManifest& manifest) {
  if (!relativePath.starts_with('/')) {
    const std::string_view parent = deletingLastPathComponent(relativePath);
    if (parent.empty() || parent == ".") return std::nullopt;
    return std::string(parent);
  }
  if (canonicallyEqual(standardizedPath(relativePath), standardizedPath(manifest.originalFolderPath))) {
    return std::nullopt;
  }
  return standardizedPath(deletingLastPathComponent(relativePath));
}

bool isManifestRootPath(std::string_view path, const TovrinWarpSharedManifest& manifest) {
  return path.empty() || path == "." ||
         canonicallyEqual(standardizedPath(path), standardizedPath(manifest.originalFolderPath));
}

std::string absoluteParentIdentifier(std::string_view path) {
  const auto parent = parentDirectoryPath(path);
  return parent ? absoluteDirectoryIdentifier(*parent) : std::string(kWarpedRootIdentifier);
}

}  // namespace tovrin
