#include "cli/item_argument.h"

#include <algorithm>
#include <unordered_map>

#include "foundation/encoding.h"
#include "foundation/path.h"
#include "host/file_names.h"
#include "platform/text.h"

namespace tovrin::cli {

namespace {

/// Byte for byte, else by canonical equivalence: what is typed here is rarely composed as the names of another system
/// are.
const NamedItem* find(const std::vector<NamedItem>& children, std::string_view name) {
  auto found = std::ranges::find(children, name, &NamedItem::name);
  if (found == children.end() && isValidUTF8(name)) {
    found = std::ranges::find_if(children, [&](const NamedItem& child) { return canonicallyEqual(child.name, name); });
  }
  return found == children.end() ? nullptr : &*found;
}

}  // namespace

std::vector<NamedItem> namedChildren(Session& session, const NSFileProviderItemIdentifier& container) {
  std::vector<NamedItem> children;
  for (SharedItem& item : session.children(container)) children.push_back({std::move(item), {}});

  std::unordered_map<std::string_view, std::vector<NamedItem*>> folders;
  for (NamedItem& child : children) folders[child.item->parentItemIdentifier()].push_back(&child);
  for (const auto& [folder, items] : folders) {
    std::vector<host::FolderMember> members;
    for (const NamedItem* child : items) members.push_back({child->item->itemIdentifier(), child->item->filename()});
    std::vector<std::string> names = host::fileNames(members);
    for (std::size_t i = 0; i < items.size(); ++i) items[i]->name = std::move(names[i]);
  }
  return children;
}

Result<ItemArgument> resolveItem(Session& session, std::string_view argument) {
  if (!argument.starts_with("/")) return ItemArgument{NSFileProviderItemIdentifier(argument), {}};
  const std::string path = standardizedPath(argument);
  ItemArgument item{NSFileProviderItemIdentifier(NSFileProviderRootContainerItemIdentifier), {}};
  std::string_view rest = std::string_view(path).substr(1);
  while (!rest.empty()) {
    const std::string_view name = rest.substr(0, rest.find('/'));
    const std::vector<NamedItem> children = namedChildren(session, item.identifier);
    const NamedItem* child = find(children, name);
    if (child == nullptr) return failure(noSuchItem());
    item = {child->item->itemIdentifier(), child->name};
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
  }
  return item;
}

NSError noSuchItem() {
  return {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileReadNoSuchFile), "There is no such item."};
}

}  // namespace tovrin::cli
