#include <fmt/core.h>

#include <memory>

#include "cli/command.h"
#include "cli/item_argument.h"
#include "cli/item_json.h"
#include "cli/output.h"
#include "platform/file_system.h"

namespace tovrin::cli {

namespace {

struct Words {
  std::string item;
  std::string file;
};

/// A file that cannot be read is no edit yet, and must not show as one that failed.
Result<std::filesystem::path> readableFile(const std::string& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    return failure(
        {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileReadUnknown), "It is not a file."});
  }
  TOVRIN_TRY(const FileHandle readable, FileHandle::forReading(file));
  return std::filesystem::absolute(file).lexically_normal();
}

Outcome put(Session& session, const Words& words, bool json) {
  TOVRIN_TRY(const std::filesystem::path file, about(words.file, readableFile(words.file)));
  TOVRIN_TRY(const ItemArgument argument, about(words.item, resolveItem(session, words.item)));
  const InterruptWatch interruption;
  TOVRIN_TRY(const SharedItem item, about(words.item, session.modify(argument.identifier, file, interruption)));
  if (json) {
    return printLine(jsonText([&](JSONWriter& writer) {
      const JSONObject object(writer);
      object.memberBy("item", [&] { writeItem(writer, *item); });
    }));
  }
  return printLine(item->isUploaded()
                       ? fmt::format("{}: unchanged, Tovrin has these contents already", printable(item->filename()))
                       : fmt::format("{}: saved, waits for Tovrin to upload it", printable(item->filename())));
}

}  // namespace

void addPutCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = addCommand(app, "put", "Save new contents for a file",
                                 "tovrin put '/Warped Files/Users/ann/Notes/todo.txt' todo.txt");
  const auto words = std::make_shared<Words>();
  command->add_option("ITEM", words->item, "A path as the domain shows it, or an identifier")
      ->required()
      ->option_text(" ");
  command->add_option("FILE", words->file, "The file that holds the new contents")->required()->option_text(" ");
  command->add_flag("--json", invocation.json, "Print the item as JSON");
  command->callback([&invocation, words] {
    invocation.run = [&invocation, words](Session& session) { return put(session, *words, invocation.json); };
  });
}

}  // namespace tovrin::cli
