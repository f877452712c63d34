#include <functional>
#include <memory>

#include "cli/command.h"
#include "cli/inspect_files.h"
#include "cli/item_json.h"
#include "cli/output.h"
#include "local/cached_items.h"
#include "provider/identifier.h"
#include "provider/tree.h"

namespace tovrin::cli {

namespace {

/// Nothing found: that is said on standard output, and by the status.
Outcome printNull() {
  TOVRIN_CHECK(printLine("null"));
  return kExitFailed;
}

template <class Write>
Outcome printJSON(Write&& write) {
  return printLine(jsonText(std::forward<Write>(write)));
}

TovrinFileProviderTree makeTree(Session& session) {
  return {session.platform(), std::make_shared<CachedItemsJournal>(session.platform())};
}

Outcome inspectItem(Session& session, const std::string& identifier) {
  const SharedItem item = session.item(identifier);
  if (!item) return printNull();
  return printJSON([&](JSONWriter& writer) { writeItem(writer, *item); });
}

Outcome inspectChildren(Session& session, const std::string& identifier) {
  return printJSON([&](JSONWriter& writer) { writeItems(writer, session.children(identifier)); });
}

Outcome inspectAnchor(Session& session) {
  return printJSON([&](JSONWriter& writer) { writeJSON(writer, session.anchor()); });
}

Outcome inspectChanges(Session& session, const std::string& identifier, const std::string& anchor) {
  const Session::Changes changes = session.changes(identifier, anchor);
  return printJSON([&](JSONWriter& writer) {
    const JSONObject object(writer);
    if (changes.updated) object.memberBy("updated", [&] { writeItems(writer, *changes.updated); });
    object.member("anchor", changes.anchor);
    object.member("moreComing", changes.moreComing);
  });
}

struct IdentifierMembers {
  const JSONObject& object;

  void operator()(const TovrinFileProviderIdentifier::AbsoluteDirectory& value) const {
    object.member("case", std::string_view("absoluteDirectory"));
    object.member("path", value.path);
  }
  void operator()(const TovrinFileProviderIdentifier::Manifest& value) const {
    object.member("case", std::string_view("manifest"));
    object.member("warpID", repairedUTF8(value.warpID));
  }
  void operator()(const TovrinFileProviderIdentifier::Entry& value) const {
    object.member("case", std::string_view("entry"));
    object.member("warpID", repairedUTF8(value.warpID));
    object.member("relativePath", value.relativePath);
  }
  void operator()(const TovrinFileProviderIdentifier::WarpedRoot&) const {
    object.member("case", std::string_view("warpedRoot"));
  }
};

Outcome inspectIdentifier(const std::string& text) {
  const auto identifier = TovrinFileProviderIdentifier::parse(text);
  if (!identifier) return printNull();
  return printJSON([&](JSONWriter& writer) {
    const JSONObject object(writer);
    std::visit(IdentifierMembers{object}, identifier->value);
  });
}

Outcome inspectVisible(Session& session) {
  TovrinFileProviderTree tree = makeTree(session);
  return printJSON([&](JSONWriter& writer) {
    writeArray(writer, tree.visibleManifests(),
               [&](const SharedManifest& warp) { writeJSON(writer, warp->manifest().warpID); });
  });
}

Outcome inspectLive(Session& session, const std::string& warpID) {
  TovrinFileProviderTree tree = makeTree(session);
  TOVRIN_TRY(const SharedManifest warp, about(warpID, tree.store().load(warpID)));
  if (!warp) return printNull();
  return printLine(tree.indexes().isManifestLive(warp->manifest()) ? "true" : "false");
}

Outcome inspectTombstones(Session& session) {
  ManifestIndexes indexes(session.platform());
  TOVRIN_TRY(const auto tombstones, about({}, indexes.tombstones()));
  return printJSON([&](JSONWriter& writer) {
    writeArray(writer, tombstones->records(), [&](const auto& record) { writeRecord(writer, record); });
  });
}

Outcome inspectJournal(Session& session) {
  CachedItemsJournal journal(session.platform());
  TOVRIN_TRY(const auto records, about({}, journal.load()));
  return printJSON([&](JSONWriter& writer) {
    writeArray(writer, records, [&](const auto& record) { writeRecord(writer, record); });
  });
}

/// Adds the calls, each with the words it takes.
class InspectCalls {
 public:
  InspectCalls(CLI::App& inspect, Invocation& invocation) : inspect_(inspect), invocation_(invocation) {}

  struct Word {
    const char* name;
    const char* meaning;
  };
  using Run = std::function<Outcome(Session&, const std::vector<std::string>&)>;

  CLI::App* add(const char* name, const char* purpose, const char* example, const std::vector<Word>& words, Run run) {
    CLI::App* call = addCommand(inspect_, name, purpose, example);
    call->group("Calls");
    const auto values = std::make_shared<std::vector<std::string>>(words.size());
    for (std::size_t i = 0; i < words.size(); ++i) {
      call->add_option(words[i].name, (*values)[i], words[i].meaning)->required()->option_text(" ");
    }
    call->callback([&invocation = invocation_, values, run = std::move(run)] {
      invocation.run = [values, run](Session& session) { return run(session, *values); };
    });
    return call;
  }

 private:
  CLI::App& inspect_;
  Invocation& invocation_;
};

}  // namespace

void addInspectCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* inspect =
      addCommand(app, "inspect", "Answer one question as JSON, for tools", "tovrin inspect children warped-root");
  inspect->require_subcommand(1);
  // Every call prints JSON, errors too.
  inspect->preparse_callback([&invocation](std::size_t) { invocation.json = true; });

  InspectCalls calls(*inspect, invocation);
  using Words = std::vector<std::string>;
  calls.add("item", "The item of an identifier", "tovrin inspect item entry:W1:L2E", {{"ID", "An item identifier"}},
            [](Session& session, const Words& words) { return inspectItem(session, words[0]); });
  calls.add("children", "The items of a container", "tovrin inspect children warped-root",
            {{"ID", "A container's identifier"}},
            [](Session& session, const Words& words) { return inspectChildren(session, words[0]); });
  calls.add("anchor", "The sync anchor", "tovrin inspect anchor", {},
            [](Session& session, const Words&) { return inspectAnchor(session); });
  calls.add("changes", "What changed since an anchor", "tovrin inspect changes warped-root x",
            {{"ID", "A container's identifier"}, {"ANCHOR", "A sync anchor"}},
            [](Session& session, const Words& words) { return inspectChanges(session, words[0], words[1]); });
  calls.add("identifier", "What an identifier means", "tovrin inspect identifier entry:W1:YQ",
            {{"TEXT", "A text that may be an identifier"}},
            [](Session&, const Words& words) { return inspectIdentifier(words[0]); });
  calls.add("manifest", "A manifest with every default", "tovrin inspect manifest W1.json",
            {{"FILE", "A manifest file"}}, [](Session&, const Words& words) { return inspectManifest(words[0]); });
  calls.add("visible", "The identities of the visible Warps", "tovrin inspect visible", {},
            [](Session& session, const Words&) { return inspectVisible(session); });
  calls.add("live", "Whether a Warp takes edits", "tovrin inspect live W1", {{"WARPID", "A Warp's identity"}},
            [](Session& session, const Words& words) { return inspectLive(session, words[0]); });
  calls.add("tombstones", "The records of destroyed Warps", "tovrin inspect tombstones", {},
            [](Session& session, const Words&) { return inspectTombstones(session); });
  calls.add("journal", "The records of cached items", "tovrin inspect journal", {},
            [](Session& session, const Words&) { return inspectJournal(session); });

  const auto output = std::make_shared<std::string>();
  CLI::App* lzfse = calls.add("lzfse", "Decode a bare LZFSE stream", "tovrin inspect lzfse a.lzfse -o a",
                              {{"FILE", "A file that is one stream"}},
                              [output](Session&, const Words& words) { return inspectLZFSE(words[0], *output); });
  lzfse->add_option("-o,--output", *output, "Where to put what it holds (needed)")->required()->option_text("OUT");
}

}  // namespace tovrin::cli
