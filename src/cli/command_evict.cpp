#include <fmt/core.h>

#include <algorithm>
#include <memory>

#include "cli/command.h"
#include "cli/item_argument.h"
#include "cli/json_output.h"
#include "cli/local_copies.h"
#include "cli/output.h"
#include "host/control/control_messages.h"

namespace tovrin::cli {

namespace {

struct Words {
  std::vector<std::string> items;
  bool all = false;
};

bool hasStayed(const host::EvictOutcome& outcome) {
  return outcome.result == host::Evicted::open || outcome.result == host::Evicted::edited;
}

std::string_view reason(host::Evicted result) {
  return result == host::Evicted::open ? "a program has it open" : "its changes are not uploaded yet";
}

std::string text(const std::vector<host::EvictOutcome>& outcomes) {
  const auto dropped = std::ranges::count(outcomes, host::Evicted::dropped, &host::EvictOutcome::result);
  std::string result = fmt::format("Dropped: {}\n", counted(static_cast<std::uint64_t>(dropped), "file"));
  const auto stayed = std::ranges::count_if(outcomes, hasStayed);
  if (stayed == 0) return result;
  result += fmt::format("Stays here: {}\n", counted(static_cast<std::uint64_t>(stayed), "file"));
  for (const host::EvictOutcome& outcome : outcomes) {
    if (hasStayed(outcome)) result += fmt::format("  {}: {}\n", printable(outcome.filename), reason(outcome.result));
  }
  return result;
}

std::string json(const std::vector<host::EvictOutcome>& outcomes) {
  return jsonText([&](JSONWriter& writer) {
    writeArray(writer, outcomes, [&](const host::EvictOutcome& outcome) {
      const JSONObject object(writer);
      object.member("itemIdentifier", outcome.identifier);
      object.member("filename", outcome.filename);
      object.member("result", host::nameOf(outcome.result));
    });
  });
}

std::expected<std::vector<host::EvictOutcome>, Failure> evictNamed(Session& session,
                                                                   const std::vector<std::string>& items) {
  std::vector<NSFileProviderItemIdentifier> identifiers;
  for (const std::string& word : items) {
    TOVRIN_TRY(ItemArgument item, about(word, resolveItem(session, word)));
    identifiers.push_back(std::move(item.identifier));
  }
  return about({}, evict(session, identifiers));
}

Outcome run(Session& session, const Words& words, bool asJSON) {
  TOVRIN_TRY(const std::vector<host::EvictOutcome> outcomes,
             words.all ? about({}, evictAll(session)) : evictNamed(session, words.items));
  TOVRIN_CHECK(about("standard output", writeStandardOutput(asJSON ? json(outcomes) + '\n' : text(outcomes))));
  return std::ranges::any_of(outcomes, hasStayed) ? kExitFailed : kExitDone;
}

}  // namespace

void addEvictCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      addCommand(app, "evict", "Drop local copies to make room", "tovrin evict '/Warped Files/Users/ann'");
  const auto words = std::make_shared<Words>();
  CLI::Option* items =
      command->add_option("ITEM", words->items, "Paths as the domain shows them, or identifiers")->option_text("...");
  command->add_flag("--all", words->all, "Everything that is here")->excludes(items);
  command->add_flag("--json", invocation.json, "Print what became of each file as a JSON array");
  command->callback([&invocation, words] {
    if (words->items.empty() && !words->all) throw CLI::RequiredError("ITEM or --all");
    invocation.run = [&invocation, words](Session& session) { return run(session, *words, invocation.json); };
  });
}

}  // namespace tovrin::cli
