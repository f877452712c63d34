#include "host/store/edit_file_name.h"

#include <variant>

#include "foundation/path.h"
#include "foundation/uuid.h"
#include "host/file_names.h"
#include "provider/identifier.h"

namespace tovrin::host {

std::string editFileName(std::string_view identifier) {
  constexpr std::size_t kDigits = 8;
  std::string name;
  if (const auto parsed = TovrinFileProviderIdentifier::parse(identifier)) {
    const auto* entry = std::get_if<TovrinFileProviderIdentifier::Entry>(&parsed->value);
    if (entry != nullptr) name = lastPathComponent(entry->relativePath);
  }
  if (name.empty()) name = "edit";
  return withSuffix(fileName({.identifier = identifier, .filename = name}), "~" + makeUUIDString().substr(0, kDigits));
}

}  // namespace tovrin::host
