#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <ranges>

#include "cli/command.h"
#include "cli/item_argument.h"
#include "cli/item_json.h"
#include "cli/output.h"
#include "cli/shared_state.h"

namespace tovrin::cli {

namespace {

struct Words {
  std::string item = "/";
  bool isLong = false;
  bool recursive = false;
  bool slash = false;
};

/// One folder's items, under the name by which the folder was reached.
struct Listing {
  std::string title;
  std::vector<NamedItem> items;
};

std::string modeText(const TovrinFileProviderItem& item) {
  // A folder without an entry was made up for the domain: everybody may look, nobody may change anything.
  const unsigned permissions = item.entry() ? item.entry()->posixPermissions : 0555;
  std::string text(1, isFolder(item) ? 'd' : isSymbolicLink(item) ? 'l' : '-');
  for (const int shift : {6, 3, 0}) {
    const unsigned bits = permissions >> shift;
    text += {(bits & 4) != 0 ? 'r' : '-', (bits & 2) != 0 ? 'w' : '-', (bits & 1) != 0 ? 'x' : '-'};
  }
  return text;
}

std::string shownName(const NamedItem& named, const Words& words) {
  return printable(named.name) + (words.slash && isFolder(*named.item) ? "/" : "");
}

std::string longText(const std::vector<NamedItem>& items, const Words& words) {
  const auto sizeText = [](const TovrinFileProviderItem& item) {
    return item.documentSize() ? std::to_string(*item.documentSize()) : std::string("-");
  };
  std::size_t width = 0;
  for (const NamedItem& named : items) width = std::max(width, sizeText(*named.item).size());
  std::string text;
  for (const NamedItem& named : items) {
    const SharedItem& item = named.item;
    const std::string date = item->contentModificationDate() ? readableDate(*item->contentModificationDate()) : "-";
    text += fmt::format("{} {:>{}} {:>16} {}", modeText(*item), sizeText(*item), width, date, shownName(named, words));
    if (isSymbolicLink(*item)) text += " -> " + printable(item->entry()->rare->symlinkTarget.value_or(""));
    text += '\n';
  }
  return text;
}

std::string shortText(const std::vector<NamedItem>& items, const Words& words) {
  std::string text;
  for (const NamedItem& named : items) text += shownName(named, words) + '\n';
  return text;
}

std::string text(const std::vector<NamedItem>& items, const Words& words) {
  return words.isLong ? longText(items, words) : shortText(items, words);
}

std::string joined(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

/// Visits the container, and with `recursive` every folder below it, a folder before what is in it.
template <class Visit>
std::expected<void, Failure> walk(Session& session, const NSFileProviderItemIdentifier& container, const Words& words,
                                  Visit&& visit) {
  struct Folder {
    std::string title;
    NSFileProviderItemIdentifier identifier;
  };
  std::vector<Folder> waiting{{words.item, container}};
  while (!waiting.empty()) {
    const Folder folder = std::move(waiting.back());
    waiting.pop_back();
    const Listing listing{folder.title, namedChildren(session, folder.identifier)};
    TOVRIN_CHECK(visit(listing));
    if (!words.recursive) continue;
    for (const auto& [item, name] : std::views::reverse(listing.items)) {
      if (isFolder(*item)) waiting.push_back({joined(folder.title, name), item->itemIdentifier()});
    }
  }
  return {};
}

/// The item itself, when it is no folder.
std::expected<std::optional<NamedItem>, Failure> singleItem(Session& session, const ItemArgument& argument,
                                                            const Words& words) {
  if (argument.identifier == NSFileProviderWorkingSetContainerItemIdentifier) return std::nullopt;
  const SharedItem item = session.item(argument.identifier);
  if (!item) return std::unexpected(Failure{words.item, noSuchItem(), {}});
  if (isFolder(*item)) return std::nullopt;
  return NamedItem{item, words.item.starts_with('/') ? words.item : item->filename()};
}

Outcome printText(Session& session, const NSFileProviderItemIdentifier& container, const Words& words) {
  bool first = true;
  TOVRIN_CHECK(walk(session, container, words, [&](const Listing& listing) {
    const std::string title =
        words.recursive ? fmt::format("{}{}:\n", first ? "" : "\n", printable(listing.title)) : "";
    first = false;
    return about("standard output", writeStandardOutput(title + text(listing.items, words)));
  }));
  return kExitDone;
}

Outcome printJSON(Session& session, const NSFileProviderItemIdentifier& container, const Words& words) {
  std::vector<SharedItem> items;
  TOVRIN_CHECK(walk(session, container, words, [&](const Listing& listing) -> std::expected<void, Failure> {
    for (const NamedItem& named : listing.items) items.push_back(named.item);
    return {};
  }));
  return printLine(jsonText([&](JSONWriter& writer) { writeItems(writer, items); }));
}

Outcome list(Session& session, const Words& words, bool json) {
  if (!json) hintAtMissingContainer(session.platform().directories);
  TOVRIN_TRY(const ItemArgument argument, about(words.item, resolveItem(session, words.item)));
  TOVRIN_TRY(const std::optional<NamedItem> single, singleItem(session, argument, words));
  if (single && json) {
    return printLine(jsonText([&](JSONWriter& writer) { writeItems(writer, std::span(&single->item, 1)); }));
  }
  if (single) {
    TOVRIN_CHECK(about("standard output", writeStandardOutput(text({*single}, words))));
    return kExitDone;
  }
  return json ? printJSON(session, argument.identifier, words) : printText(session, argument.identifier, words);
}

}  // namespace

void addListCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = addCommand(app, "ls", "List a folder", "tovrin ls -l '/Warped Files/Users/ann'");
  const auto words = std::make_shared<Words>();
  command->add_option("ITEM", words->item, "A path as the domain shows it, or an identifier")->option_text(" ");
  command->add_flag("-l,--long", words->isLong, "With type, permissions, size and date");
  command->add_flag("-R,--recursive", words->recursive, "With everything below it");
  command->add_flag("-p,--slash", words->slash, "With a “/” behind the names of folders");
  command->add_flag("--json", invocation.json, "Print the items as one JSON array");
  command->callback([&invocation, words] {
    invocation.run = [&invocation, words](Session& session) { return list(session, *words, invocation.json); };
  });
}

}  // namespace tovrin::cli
