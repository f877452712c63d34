#include "platform/uniform_type.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ranges>

#include "platform/linux/uniform_type_table.h"

namespace tovrin {

namespace {

struct ExtensionType {
  std::string_view extension;
  std::string_view identifier;
};

constexpr std::size_t countExtensions() {
  std::size_t count = 0;
  for (const UniformTypeDeclaration& type : kUniformTypeDeclarations)
    count += 1 + static_cast<std::size_t>(std::ranges::count(type.extensions, ' '));
  return count;
}

constexpr auto kTypesByExtension = [] {
  std::array<ExtensionType, countExtensions()> types;
  auto next = types.begin();
  for (const UniformTypeDeclaration& type : kUniformTypeDeclarations) {
    for (const auto extension : std::views::split(type.extensions, ' '))
      *next++ = {std::string_view(extension.begin(), extension.end()), type.identifier};
  }
  std::ranges::sort(types, {}, &ExtensionType::extension);
  return types;
}();

static_assert(std::ranges::adjacent_find(kTypesByExtension, {}, &ExtensionType::extension) == kTypesByExtension.end(),
              "an extension stands for one type");

constexpr std::size_t kLongestExtension = std::ranges::max(kTypesByExtension, {}, [](const ExtensionType& type) {
                                            return type.extension.size();
                                          }).extension.size();

constexpr char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

UTType UTType::forFilenameExtension(std::string_view extension) {
  if (extension.size() > kLongestExtension) return data();
  std::array<char, kLongestExtension> folded;
  const auto end = std::ranges::transform(extension, folded.begin(), lowerCase).out;
  const std::string_view key(folded.data(), static_cast<std::size_t>(end - folded.begin()));
  const auto found = std::ranges::lower_bound(kTypesByExtension, key, {}, &ExtensionType::extension);
  if (found == kTypesByExtension.end() || found->extension != key) return data();
  return UTType(found->identifier);
}

}  // namespace tovrin
