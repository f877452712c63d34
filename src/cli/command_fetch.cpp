#include <memory>

#include "cli/command.h"
#include "cli/disposable_file.h"
#include "cli/fetch_tree.h"
#include "cli/item_argument.h"
#include "cli/item_json.h"
#include "cli/output.h"
#include "cli/progress_bar.h"
#include "cli/target.h"
#include "host/file_names.h"

namespace tovrin::cli {

namespace {

struct Words {
  std::string item;
  std::string output;
  bool recursive = false;
};

/// Where the file goes: as named, into the folder that was named, or here under its own name.
std::filesystem::path targetOf(const Words& words, const ItemArgument& argument, const TovrinFileProviderItem& item) {
  const std::string ownName =
      argument.name.empty() ? host::fileName({item.itemIdentifier(), item.filename()}) : argument.name;
  std::filesystem::path target =
      words.output.empty() ? std::filesystem::path(ownName) : std::filesystem::path(words.output);
  std::error_code ignored;
  if (!words.output.empty() && std::filesystem::is_directory(target, ignored)) target /= ownName;
  return std::filesystem::absolute(target).lexically_normal();
}

/// Nobody should wait for a download that has nowhere to go. What cannot be downloaded has a better error of its own.
std::expected<void, Failure> checkTarget(const Words& words, const ItemArgument& argument, const SharedItem& item) {
  if (!item || !item->entry() || isFolder(*item)) return {};
  const std::filesystem::path target = targetOf(words, argument, *item);
  TOVRIN_CHECK(
      about(target.string(), resolveTarget(target, isSymbolicLink(*item) ? Delivery::symbolicLink : Delivery::file)));
  return {};
}

std::expected<std::filesystem::path, Failure> deliver(const Session::Fetched& fetched,
                                                      const std::filesystem::path& target,
                                                      const InterruptWatch& interruption) {
  const DisposableFile file(fetched.file);
  if (fetched.item->entry()) file.takeOn(*fetched.item->entry());
  TOVRIN_CHECK(about(target.string(), file.placeAt(target, interruption)));
  return target;
}

Outcome fetch(Session& session, const Words& words, bool json) {
  const InterruptWatch interruption;
  TOVRIN_TRY(const ItemArgument argument, about(words.item, resolveItem(session, words.item)));
  const SharedItem item = session.item(argument.identifier);
  TOVRIN_CHECK(checkTarget(words, argument, item));
  Session::Fetched fetched;
  {
    ProgressBar bar(session.platform());
    const auto draw = [&](const NSProgress& progress) { bar.draw(progress, item); };
    TOVRIN_TRY(fetched, about(words.item, session.fetch(argument.identifier, interruption, draw)));
  }
  TOVRIN_TRY(const std::filesystem::path target,
             deliver(fetched, targetOf(words, argument, *fetched.item), interruption));
  if (!json) return kExitDone;
  return printLine(jsonText([&](JSONWriter& writer) {
    const JSONObject object(writer);
    object.member("file", repairedUTF8(target.string()));
    object.memberBy("item", [&] { writeItem(writer, *fetched.item); });
  }));
}

}  // namespace

void addFetchCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      addCommand(app, "fetch", "Download a file", "tovrin fetch '/Warped Files/Users/ann/Photos/a.jpg' -o /tmp/a.jpg");
  const auto words = std::make_shared<Words>();
  command->add_option("ITEM", words->item, "A path as the domain shows it, or an identifier")
      ->required()
      ->option_text(" ");
  CLI::Option* output = command->add_option("-o,--output", words->output, "Where to put it (else here, under its name)")
                            ->option_text("FILE");
  command->add_flag("-R,--recursive", words->recursive, "All files of a folder into the running mount")
      ->excludes(output);
  command->add_flag("--json", invocation.json, "Print the file and its item as JSON");
  command->callback([&invocation, words] {
    invocation.run = [&invocation, words](Session& session) {
      return words->recursive ? fetchTree(session, words->item, invocation.json)
                              : fetch(session, *words, invocation.json);
    };
  });
}

}  // namespace tovrin::cli
