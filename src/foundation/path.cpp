#include "foundation/path.h"

#include <algorithm>
#include <array>

#include "foundation/character_block.h"
#include "foundation/encoding.h"

namespace tovrin {

namespace {

using namespace std::string_view_literals;

bool isDots(std::string_view name) { return name == "." || name == ".."; }

bool containsNUL(std::string_view text) { return text.find('\0') != std::string_view::npos; }

/// Nearly every text that has only plain pieces is told by looking at pairs of characters: no "/" is followed by a "/"
/// or a ".".
bool hasOnlyPlainPairs(std::string_view text) {
  if (text.size() <= sizeof(CharacterBlock)) return false;
  CharacterBlock isOdd{};
  forEachBlock(text.substr(0, text.size() - 1), [&](const char* block) {
    const CharacterBlock characters = blockAt(block);
    const CharacterBlock following = blockAt(block + 1);
    isOdd |= (characters == '\0') | ((characters == '/') & ((following == '/') | (following == '.')));
  });
  return !holdsAnywhere(isOdd) && text.front() != '/' && text.front() != '.' && text.back() != '/' &&
         text.back() != '\0';
}

/// Whether no piece between the "/"s of `text` is empty, "." or "..", or has a NUL.
bool hasOnlyPlainPieces(std::string_view text) {
  if (hasOnlyPlainPairs(text)) return true;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('/', start), text.size());
    const std::string_view piece = text.substr(start, end - start);
    if (piece.empty() || isDots(piece) || containsNUL(piece)) return false;
    start = end + 1;
  }
  return true;
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  return path.substr(0, path.find_last_not_of('/') + 1);
}

/// The UTF-8 forms of the marks that could make an extension look like another one.
constexpr std::array kBidirectionalControls{
    "\u061C"sv, "\u200E"sv, "\u200F"sv, "\u202A"sv, "\u202B"sv, "\u202C"sv,
    "\u202D"sv, "\u202E"sv, "\u2066"sv, "\u2067"sv, "\u2068"sv, "\u2069"sv,
};

bool isValidExtension(std::string_view extension) {
  if (extension.find(' ') != std::string_view::npos) return false;
  if (isASCII(extension)) return true;
  return std::ranges::none_of(kBidirectionalControls, [extension](std::string_view control) {
    return extension.find(control) != std::string_view::npos;
  });
}

/// Takes the last component off `path`, a standardized path in the making that is no shorter than `root`.
void removeLastComponent(std::string& path, std::size_t root) {
  const std::size_t slash = path.rfind('/');
  path.resize(slash == std::string::npos ? root : std::max(slash, root));
}

}  // namespace

bool isCanonicalAbsolutePath(std::string_view path) {
  return path.starts_with('/') && (path.size() == 1 || hasOnlyPlainPieces(path.substr(1)));
}

bool isSafeRelativeObjectKey(std::string_view key) { return hasOnlyPlainPieces(key); }

std::string standardizedPath(std::string_view path) {
  if (isCanonicalAbsolutePath(path)) return std::string(path);

  const std::size_t root = path.starts_with('/') ? 1 : 0;
  std::string result(path.substr(0, root));
  result.reserve(path.size());
  for (std::size_t start = root; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string_view piece = path.substr(start, end - start);
    start = end + 1;
    if (piece.empty() || piece == ".") continue;
    if (piece == "..") {
      const bool nothingToRemove = result.size() == root;
      if (nothingToRemove && root == 1) continue;
      if (!nothingToRemove && lastPathComponent(result) != "..") {
        removeLastComponent(result, root);
        continue;
      }
    }
    if (result.size() > root) result += '/';
    result += piece;
  }
  return result;
}

std::string_view lastPathComponent(std::string_view path) {
  const std::string_view trimmed = withoutTrailingSlashes(path);
  if (trimmed.empty()) return path.substr(0, 1);
  return trimmed.substr(trimmed.rfind('/') + 1);
}

std::string_view deletingLastPathComponent(std::string_view path) {
  const std::string_view trimmed = withoutTrailingSlashes(path);
  if (trimmed.empty()) return path.substr(0, 1);
  const std::size_t slash = trimmed.rfind('/');
  if (slash == std::string_view::npos) return {};
  const std::string_view parent = withoutTrailingSlashes(trimmed.substr(0, slash));
  return parent.empty() ? path.substr(0, 1) : parent;
}

std::string_view pathExtension(std::string_view path) {
  const std::string_view name = lastPathComponent(path);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return {};
  if (isDots(name.substr(0, dot))) return {};
  const std::string_view extension = name.substr(dot + 1);
  return isValidExtension(extension) ? extension : std::string_view();
}

}  // namespace tovrin
