#include "cli/doctor_checks.h"

#include <fmt/core.h>

#include <algorithm>
#include <unordered_set>

#include "cli/error_output.h"
#include "cli/item_argument.h"
#include "cli/output.h"
#include "cli/shared_state.h"
#include "local/cached_items.h"
#include "platform/file_system.h"
#include "shared/manifest_indexes.h"
#include "shared/manifest_store.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

namespace {

constexpr std::size_t kNamedItems = 10;

/// The first rule that hides the Warp, or nothing when it is shown.
std::optional<std::string> whyHidden(const IndexedManifest& warp, const Tombstones* tombstones,
                                     const std::unordered_set<std::string>* visible) {
  const TovrinWarpSharedManifest& manifest = warp.manifest();
  if (tombstones != nullptr && tombstones->matches(manifest.warpID, manifest.manifestKey)) {
    return "it was restored (destroyed-manifest-index.json names it)";
  }
  if (manifest.status == TovrinWarpSharedStatus::uploading || manifest.status == TovrinWarpSharedStatus::failed) {
    return fmt::format("its status is “{}”", rawValue(manifest.status));
  }
  if (!warp.hasFile()) return "it holds no file";
  if (visible != nullptr && !visible->contains(warp.canonicalWarpID())) {
    return "manifest-visibility-index.json does not name it";
  }
  return std::nullopt;
}

std::string warpSubject(const TovrinWarpSharedManifest& manifest) {
  return fmt::format("{} ({})", manifest.originalFolderPath, manifest.warpID);
}

void checkWarp(ManifestStore& store, const IndexedManifest& warp, std::optional<std::string> hidden,
               Findings& findings) {
  const TovrinWarpSharedManifest& manifest = warp.manifest();
  const std::string subject = warpSubject(manifest);
  if (hidden) {
    findings.push_back(note("hidden", subject, "Hidden: " + *std::move(hidden) + "."));
  } else if (markedWarpID(manifest.originalFolderPath) != manifest.warpID) {
    findings.push_back(note("edits", subject, "Edits are refused: the folder does not carry the marker of this Warp."));
  }
  if (manifest.status == TovrinWarpSharedStatus::failed || manifest.status == TovrinWarpSharedStatus::needsAttention) {
    const std::string_view reason = manifest.failureDescription.value_or("The main application gave no reason.");
    findings.push_back(
        problem("warps", subject, fmt::format("Its status is “{}”: {}", rawValue(manifest.status), reason)));
  }
  if (const auto own = store.load(manifest.warpID); !own) {
    findings.push_back(problem("manifests", std::string(manifest.warpID) + ".json", own.error()));
  } else if (*own == nullptr) {
    findings.push_back(problem("manifests", subject,
                               fmt::format("Its manifest is not in a file named “{}.json”, so its files cannot be "
                                           "found reliably.",
                                           manifest.warpID)));
  }
}

}  // namespace

std::string_view rawValue(Finding::Level level) {
  constexpr std::string_view kNames[] = {"well", "note", "problem"};
  return kNames[static_cast<std::size_t>(level)];
}

Finding well(std::string check, std::string subject, std::string message) {
  return {Finding::Level::well, std::move(check), std::move(subject), std::move(message), {}};
}

Finding note(std::string check, std::string subject, std::string message) {
  return {Finding::Level::note, std::move(check), std::move(subject), std::move(message), {}};
}

Finding problem(std::string check, std::string subject, std::string message) {
  return {Finding::Level::problem, std::move(check), std::move(subject), std::move(message), {}};
}

Finding problem(std::string check, std::string subject, const NSError& error) {
  return {Finding::Level::problem, std::move(check), std::move(subject), sentence(error), error};
}

void checkManifests(const Platform& platform, Findings& findings) {
  const auto warp = locateWarpDirectory(platform.directories);
  if (!warp) return findings.push_back(problem("container", {}, warp.error()));
  const std::string mirror = warp->manifestMirror().string();
  if (const auto names = contentsOfDirectory(warp->manifestMirror()); !names) {
    return findings.push_back(problem("manifests", mirror, names.error()));
  }
  ManifestStore store(platform);
  ManifestIndexes indexes(platform);
  const std::vector<SharedManifest> warps = store.loadAll();
  const auto tombstones = indexes.tombstones();
  const auto visible = indexes.visibleWarpIDs();
  std::size_t shown = 0;
  for (const SharedManifest& one : warps) {
    auto hidden = whyHidden(*one, tombstones ? tombstones->get() : nullptr, visible.get());
    if (!hidden) ++shown;
    checkWarp(store, *one, std::move(hidden), findings);
  }
  for (const auto& [fileName, error] : store.skipped()) findings.push_back(problem("manifests", fileName, error));
  findings.push_back(well("warps", {}, fmt::format("{} of {} shown.", shown, counted(warps.size(), "readable Warp"))));
}

void checkIndexes(const Platform& platform, Findings& findings) {
  if (const auto index = loadVisibilityIndex(platform.directories)) {
    findings.push_back(well("indexes", "manifest-visibility-index.json",
                            fmt::format("Names {}.", counted(index->visibleWarpIDs.size(), "Warp"))));
  } else if (!isMissingFile(index.error())) {
    findings.push_back(problem("indexes", "manifest-visibility-index.json", index.error()));
  }
  if (const auto tombstones = ManifestIndexes(platform).tombstones(); !tombstones) {
    findings.push_back(problem("indexes", "destroyed-manifest-index.json", tombstones.error()));
  }
}

void checkJournal(const Platform& platform, Findings& findings) {
  const std::string journalName = "file-provider-cached-items.json";
  const auto records = CachedItemsJournal(platform).load();
  if (!records) {
    findings.push_back(problem("journal", journalName, records.error()));
    if (records.error().is(CocoaErrorCode::fileReadCorruptFile)) {
      findings.back().message =
          "A record breaks a rule: for example a pending copy outside FileProviderPendingWriteback.";
    }
    return;
  }
  findings.push_back(well("journal", journalName, fmt::format("Holds {}.", counted(records->size(), "record"))));

  std::unordered_set<std::string> named;
  for (const auto& record : *records) {
    if (!record.pendingWritebackFilePath || record.pendingWritebackFilePath->empty()) continue;
    named.insert(std::filesystem::path(*record.pendingWritebackFilePath).filename().string());
    if (!fileExists(*record.pendingWritebackFilePath)) {
      findings.push_back(problem("edits", record.relativePath,
                                 "The copy of its edit is missing: " + *record.pendingWritebackFilePath));
    }
  }
  const auto warp = locateWarpDirectory(platform.directories);
  const auto copies = warp ? contentsOfDirectory(warp->pendingWriteback()) : failure(warp.error());
  if (!copies) return;  // no edit was ever made here
  for (const std::string& copy : *copies) {
    if (named.contains(copy)) continue;
    findings.push_back(note("edits", copy,
                            "The journal does not name this copy of an edit: most likely a later save has taken its "
                            "place. Nothing will upload it."));
  }
}

void checkNames(Session& session, Findings& findings) {
  std::size_t renamed = 0;
  const NSFileProviderItemIdentifier everything(NSFileProviderWorkingSetContainerItemIdentifier);
  for (const auto& [item, name] : namedChildren(session, everything)) {
    if (name == item->filename() || ++renamed > kNamedItems) continue;
    findings.push_back(
        note("names", item->filename(), fmt::format("Shown as “{}” in {}.", name, item->parentItemIdentifier())));
  }
  if (renamed > kNamedItems) {
    findings.push_back(note("names", {}, fmt::format("{} more are shown under another name.", renamed - kNamedItems)));
  }
}

}  // namespace tovrin::cli
