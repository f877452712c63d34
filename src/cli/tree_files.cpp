#include "cli/tree_files.h"

#include <utility>

#include "cli/item_argument.h"

namespace tovrin::cli {

namespace {

void addFile(const SharedItem& item, std::string path, std::vector<TreeFile>& files) {
  if (!item->entry() || isSymbolicLink(*item)) return;
  files.push_back({item->itemIdentifier(), std::move(path), item->documentSize().value_or(0)});
}

void addFilesBelow(Session& session, const NSFileProviderItemIdentifier& folder, const std::string& path,
                   std::vector<TreeFile>& files) {
  const std::string prefix = path.ends_with('/') ? path : path + '/';
  for (const auto& [item, name] : namedChildren(session, folder)) {
    if (isFolder(*item)) {
      addFilesBelow(session, item->itemIdentifier(), prefix + name, files);
    } else {
      addFile(item, prefix + name, files);
    }
  }
}

}  // namespace

std::expected<std::vector<TreeFile>, Failure> treeFiles(Session& session, const std::string& item) {
  TOVRIN_TRY(const ItemArgument argument, about(item, resolveItem(session, item)));
  const SharedItem top = session.item(argument.identifier);
  if (!top) return std::unexpected(Failure{item, noSuchItem(), {}});
  std::vector<TreeFile> files;
  if (isFolder(*top)) {
    addFilesBelow(session, argument.identifier, item, files);
  } else {
    addFile(top, item, files);
  }
  return files;
}

}  // namespace tovrin::cli
