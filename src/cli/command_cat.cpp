#include <array>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/disposable_file.h"
#include "cli/item_argument.h"
#include "cli/output.h"
#include "platform/file_system.h"

namespace tovrin::cli {

namespace {

constexpr std::size_t kChunkBytes = 262144;

NSError symbolicLinkError(const TovrinFileProviderItem& link) {
  return {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileReadUnknown),
          "It is a symbolic link to “" + std::string(link.entry()->rare->symlinkTarget.value_or("")) + "”."};
}

/// The whole file, open and without a name any more: nothing is left behind however the printing ends.
Result<FileHandle> materialize(Session& session, const NSFileProviderItemIdentifier& identifier) {
  const InterruptWatch interruption;
  TOVRIN_TRY(const Session::Fetched fetched, session.fetch(identifier, interruption, [](const NSProgress&) {}));
  const DisposableFile file(fetched.file);
  if (isSymbolicLink(*fetched.item)) return failure(symbolicLinkError(*fetched.item));
  return FileHandle::forReading(file.path());
}

Outcome cat(Session& session, const std::string& argument) {
  TOVRIN_TRY(const ItemArgument item, about(argument, resolveItem(session, argument)));
  TOVRIN_TRY(FileHandle file, about(argument, materialize(session, item.identifier)));
  std::vector<std::byte> chunk(kChunkBytes);
  while (true) {
    TOVRIN_TRY(const std::size_t count, about(argument, file.read(chunk)));
    if (count == 0) return kExitDone;
    const std::string_view bytes(reinterpret_cast<const char*>(chunk.data()), count);
    TOVRIN_CHECK(about("standard output", writeStandardOutput(bytes)));
  }
}

}  // namespace

void addCatCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      addCommand(app, "cat", "Print a file's contents", "tovrin cat '/Warped Files/Users/ann/Notes/todo.txt'");
  const auto argument = std::make_shared<std::string>();
  command->add_option("ITEM", *argument, "A path as the domain shows it, or an identifier")
      ->required()
      ->option_text(" ");
  command->callback(
      [&invocation, argument] { invocation.run = [argument](Session& session) { return cat(session, *argument); }; });
}

}  // namespace tovrin::cli
