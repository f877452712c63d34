#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/session.h"

namespace tovrin::cli {

/// An item with the name under which its folder shows it.
struct NamedItem {
  SharedItem item;
  std::string name;
};

/// A container's items in its order. Of the working set each item is named as in its own folder.
std::vector<NamedItem> namedChildren(Session& session, const NSFileProviderItemIdentifier& container);

/// What an ITEM argument means. `name` is empty when the argument is an identifier.
struct ItemArgument {
  NSFileProviderItemIdentifier identifier;
  std::string name;
};

/// A text that begins with "/" is a path as the mounted domain shows it and must exist; any other is an identifier,
/// taken as it stands.
Result<ItemArgument> resolveItem(Session& session, std::string_view argument);

/// The error of an item that is not there.
NSError noSuchItem();

}  // namespace tovrin::cli
