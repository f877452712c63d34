#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <exception>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "local/finder_badges.h"
#include "platform/extended_attributes.h"
#include "platform/file_system.h"
#include "platform/property_list.h"

namespace tovrin {
namespace {

using State = TovrinWarpSharedFinderBadgeState;

constexpr std::string_view kFinderInfoAttribute = "com.apple.FinderInfo";
constexpr std::size_t kFinderInfoBytes = 32;
constexpr std::size_t kLabelByte = 9;
constexpr int kHighestColour = 7;

constexpr std::array<std::string_view, 5> kTagNames{"Tovrin", "Tovrin Remote", "Tovrin Cached", "Tovrin Opening",
                                                    "Tovrin Issue"};

std::string_view nameOf(std::string_view tag) { return tag.substr(0, tag.find('\n')); }

std::optional<int> colourOf(std::string_view tag) {
  const std::size_t lineBreak = tag.find('\n');
  if (lineBreak == std::string_view::npos) return std::nullopt;
  std::string_view digits = tag.substr(lineBreak + 1);
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  std::int64_t colour = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), colour);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return static_cast<int>(std::clamp<std::int64_t>(colour, 0, 7));
}

std::vector<std::string> tagsOf(const std::filesystem::path& file, LinkPolicy links) {
  const auto bytes = extendedAttribute(file, kFinderTagsAttribute, links);
  if (!bytes) return {};
  return decodeStringArrayPropertyList(*bytes).value_or(std::vector<std::string>());
}

}  // namespace

std::string_view finderTagName(State state) { return kTagNames[static_cast<std::size_t>(state)]; }

std::optional<State> stateOfFinderTag(std::string_view name) {
  const auto found = std::ranges::find(kTagNames, name);
  if (found == kTagNames.end()) return std::nullopt;
  return static_cast<State>(found - kTagNames.begin());
}

std::string storedFinderTag(State state) {
  const std::string name(finderTagName(state));
  switch (state) {
    case State::cached:
      return name + "\n2";
    case State::opening:
      return name + "\n5";
    case State::issue:
      return name + "\n6";
    case State::warpedRoot:
    case State::remoteOnly:
      break;
  }
  return name;
}

void FinderBadges::tag(const std::filesystem::path& file, State state, LinkPolicy links) try {
  if (!fileAttributes(file)) return;  // as of nearly every file that is opened through the domain
  std::vector<std::string> tags = tagsOf(file, links);
  std::erase_if(tags, [](const std::string& tag) { return stateOfFinderTag(nameOf(tag)).has_value(); });
  tags.push_back(storedFinderTag(state));
  applyFinderTags(tags, file, links);
} catch (const std::exception&) {
  // Decoration: without memory for it there is none.
}

void applyFinderTags(const std::vector<std::string>& tagNames, const std::filesystem::path& file, LinkPolicy links) {
  const auto encoded = encodeBinaryPropertyList(tagNames);
  if (!encoded) return;
  const std::string& wanted = *encoded;
  if (extendedAttribute(file, kFinderTagsAttribute, links) != wanted)
    std::ignore = setExtendedAttribute(file, kFinderTagsAttribute, wanted, links);

  std::optional<int> colour;
  for (const std::string& tag : tagNames)
    if (const auto carried = colourOf(tag)) colour = carried;
  if (colour) setLabelColour(file, *colour, links);
}

void setLabelColour(const std::filesystem::path& file, int colour, LinkPolicy links) {
  const auto existing = extendedAttribute(file, kFinderInfoAttribute, links);
  std::string info(kFinderInfoBytes, '\0');
  if (existing && existing->size() <= kFinderInfoBytes) std::ranges::copy(*existing, info.begin());
  const auto label = static_cast<unsigned>(std::clamp(colour, 0, kHighestColour)) << 1U;
  info[kLabelByte] = static_cast<char>((static_cast<unsigned char>(info[kLabelByte]) & 0xF1U) | label);
  if (existing != info) std::ignore = setExtendedAttribute(file, kFinderInfoAttribute, info, links);
}

}  // namespace tovrin
