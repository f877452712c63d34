#include "platform/text.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>

#include "foundation/encoding.h"
#include "platform/linux/finder_order.h"
#include "platform/posix/character_boundary.h"

namespace tovrin {

namespace {

icu::StringPiece piece(std::string_view text) { return {text.data(), static_cast<int32_t>(text.size())}; }

/// A break iterator is costly to make and not safe to share; each thread keeps one.
icu::BreakIterator* characterBreaks() {
  thread_local const std::unique_ptr<icu::BreakIterator> breaks = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> made(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    return U_SUCCESS(status) ? std::move(made) : nullptr;
  }();
  return breaks.get();
}

bool isCharacterBoundaryByRules(std::string_view text, std::size_t offset) {
  icu::BreakIterator* breaks = characterBreaks();
  if (breaks == nullptr) return true;
  UErrorCode status = U_ZERO_ERROR;
  UText view = UTEXT_INITIALIZER;
  utext_openUTF8(&view, text.data(), static_cast<int64_t>(text.size()), &status);
  breaks->setText(&view, status);
  const bool boundary = U_FAILURE(status) || breaks->isBoundary(static_cast<int32_t>(offset));
  utext_close(&view);
  return boundary;
}

}  // namespace

bool isCharacterBoundary(std::string_view text, std::size_t offset) {
  if (offset == 0 || offset == text.size()) return true;
  const auto before = static_cast<unsigned char>(text[offset - 1]);
  if (before >= 0x80) return isCharacterBoundaryByRules(text, offset);
  if (before == '\r') return text[offset] != '\n';
  if (before < 0x20 || before == 0x7F) return true;

  // After a printable ASCII character, such as the "/" of a folder, only a mark that joins it can follow.
  const std::string_view following = text.substr(offset, U8_MAX_LENGTH);
  UChar32 next = 0;
  std::int32_t position = 0;
  U8_NEXT(reinterpret_cast<const std::uint8_t*>(following.data()), position,
          static_cast<std::int32_t>(following.size()), next);
  const int kind = u_getIntPropertyValue(next, UCHAR_GRAPHEME_CLUSTER_BREAK);
  return kind != U_GCB_EXTEND && kind != U_GCB_SPACING_MARK && kind != U_GCB_ZWJ;
}

std::string canonicalForm(std::string_view text) {
  if (isASCII(text)) return std::string(text);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return std::string(text);
  std::string form;
  icu::StringByteSink<std::string> sink(&form, static_cast<int32_t>(text.size()));
  composer->normalizeUTF8(0, piece(text), sink, nullptr, status);
  return U_SUCCESS(status) ? form : std::string(text);
}

std::vector<std::uint32_t> finderOrder(std::span<const std::string_view> texts) {
  static const std::string locale = userCollationLocale();
  thread_local const FinderOrder order(locale);
  std::vector<std::string> keys;
  keys.reserve(texts.size());
  for (const std::string_view text : texts) keys.push_back(order.sortKey(text));
  std::vector<std::uint32_t> indexes(texts.size());
  std::iota(indexes.begin(), indexes.end(), 0U);
  std::ranges::stable_sort(indexes, {}, [&](std::uint32_t index) -> const std::string& { return keys[index]; });
  return indexes;
}

}  // namespace tovrin
