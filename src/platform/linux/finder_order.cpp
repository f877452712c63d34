#include "platform/linux/finder_order.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <utility>

namespace tovrin {

namespace {

constexpr std::uint32_t kLongRun = 255;

std::unique_ptr<icu::Collator> makeCollator(const std::string& localeName) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(
      icu::Collator::createInstance(icu::Locale::createCanonical(localeName.c_str()), status));
  if (U_FAILURE(status)) return nullptr;
  collator->setAttribute(UCOL_STRENGTH, UCOL_TERTIARY, status);
  collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
  collator->setAttribute(UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, status);
  collator->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  collator->setAttribute(UCOL_CASE_FIRST, UCOL_OFF, status);
  collator->setAttribute(UCOL_CASE_LEVEL, UCOL_OFF, status);
  return U_SUCCESS(status) ? std::move(collator) : nullptr;
}

/// Appends ICU's key, which ends with its only zero byte.
void appendCollationKey(std::string& key, const icu::Collator& collator, const icu::UnicodeString& text) {
  std::array<std::uint8_t, 512> buffer;
  const int32_t length = collator.getSortKey(text, buffer.data(), static_cast<int32_t>(buffer.size()));
  if (static_cast<std::size_t>(length) <= buffer.size()) {
    key.append(reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(length));
    return;
  }
  const std::size_t start = key.size();
  key.resize(start + static_cast<std::size_t>(length));
  collator.getSortKey(text, reinterpret_cast<std::uint8_t*>(key.data() + start), length);
}

void appendRunLength(std::string& key, std::uint32_t length) {
  if (length == 0) return;
  if (length < kLongRun) {
    key += static_cast<char>(length);
    return;
  }
  key += static_cast<char>(kLongRun);
  for (const int shift : {24, 16, 8, 0}) key += static_cast<char>(length >> shift & 0xFF);
}

/// One byte per run, five for the long ones, and a zero that sorts before any further run. Digits of every script
/// count: the collation key does not tell them apart.
void appendDigitRunLengths(std::string& key, const icu::UnicodeString& text) {
  std::uint32_t length = 0;
  for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
    if (u_isdigit(text.char32At(i))) {
      ++length;
    } else {
      appendRunLength(key, std::exchange(length, 0));
    }
  }
  appendRunLength(key, length);
  key += '\0';
}

void appendCodeUnits(std::string& key, const icu::UnicodeString& text) {
  for (const char16_t unit : std::span(text.getBuffer(), static_cast<std::size_t>(text.length()))) {
    key += static_cast<char>(unit >> 8);
    key += static_cast<char>(unit & 0xFF);
  }
}

std::string localeVariable() {
  for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
    if (const char* value = std::getenv(name); value != nullptr && *value != '\0') return value;
  }
  return {};
}

}  // namespace

FinderOrder::FinderOrder(const std::string& locale) : collator_(makeCollator(locale)) {}

std::string FinderOrder::sortKey(std::string_view text) const {
  const auto units = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  std::string key;
  key.reserve(text.size() * 4 + 16);
  if (collator_) appendCollationKey(key, *collator_, units);
  appendDigitRunLengths(key, units);
  appendCodeUnits(key, units);
  return key;
}

std::string userCollationLocale() {
  const std::string value = localeVariable();
  const std::string language = value.substr(0, value.find_first_of(".@"));
  return language.empty() || language == "C" || language == "POSIX" ? "en_US" : value;
}

}  // namespace tovrin
