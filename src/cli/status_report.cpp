#include "cli/status_report.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <numeric>
#include <ranges>

#include "cli/error_output.h"
#include "cli/item_json.h"
#include "cli/output.h"
#include "cli/shared_state.h"
#include "foundation/path.h"
#include "foundation/readable_size.h"
#include "host/control/control_client.h"

namespace tovrin::cli {

namespace {

/// A terminal shows the newest; --json has them all.
constexpr std::size_t kShownRecords = 10;
/// A mount answers from memory; one that does not is stopped or stuck.
constexpr std::chrono::seconds kMountPatience{3};

bool carriesEdit(const TovrinWarpSharedCachedItemRecord& record) {
  return record.pendingWritebackFilePath && !record.pendingWritebackFilePath->empty();
}

std::int64_t totalSize(const std::vector<TovrinWarpSharedCachedItemRecord>& records) {
  return std::accumulate(records.begin(), records.end(), std::int64_t{0},
                         [](std::int64_t sum, const auto& record) { return sum + record.size; });
}

void addWarpTroubles(ManifestStore& store, std::vector<StatusReport::Trouble>& troubles) {
  for (const SharedManifest& warp : store.loadAll()) {
    const TovrinWarpSharedManifest& manifest = warp->manifest();
    const bool failed = manifest.status == TovrinWarpSharedStatus::failed;
    if (!failed && manifest.status != TovrinWarpSharedStatus::needsAttention) continue;
    const std::string_view usual = failed ? "The Warp failed." : "The Warp needs attention.";
    troubles.push_back(
        {std::string(manifest.originalFolderPath), std::string(manifest.failureDescription.value_or(usual))});
  }
  for (const auto& [fileName, error] : store.skipped()) troubles.push_back({fileName, sentence(error)});
}

std::string operationText(const StatusReport& report) {
  if (!report.operation) return "Nothing has been opened or saved yet.\n";
  const auto& operation = *report.operation;
  std::string text = printable(operation.title);
  if (operation.isActive && operation.progressFraction) {
    text += fmt::format(" ({:.0f}%)", *operation.progressFraction * 100);
  }
  return fmt::format("{}: {} {}\n", text, printable(operation.detail), readableDate(operation.updatedAt));
}

/// As `ls` and `cat` take it.
std::string shownPath(const TovrinWarpSharedCachedItemRecord& record) {
  return "/Warped Files" + printable(record.relativePath);
}

template <class Line>
std::string newest(const std::vector<TovrinWarpSharedCachedItemRecord>& records, Line&& line) {
  std::string text;
  for (const auto& record : records | std::views::reverse | std::views::take(kShownRecords)) {
    text += fmt::format("  {}\n", line(record));
  }
  if (records.size() > kShownRecords) text += fmt::format("  and {} more\n", records.size() - kShownRecords);
  return text;
}

}  // namespace

StatusReport StatusSources::report() {
  StatusReport report;
  addContainer(report);
  addMount(report);
  return report;
}

void StatusSources::addContainer(StatusReport& report) {
  if (auto operation = loadMaterializationState(platform_)) {
    report.operation = *std::move(operation);
    const auto& problem = report.operation->errorDescription;
    if (problem) report.needsAttention.push_back({report.operation->relativePath, *problem});
  } else if (!isMissingFile(operation.error())) {
    report.needsAttention.push_back({"file-provider-materialization-state.json", sentence(operation.error())});
  }
  if (auto records = journal_.load()) {
    report.cached = *std::move(records);
    std::ranges::copy_if(report.cached, std::back_inserter(report.waitingForUpload), carriesEdit);
  } else {
    report.needsAttention.push_back({"file-provider-cached-items.json", sentence(records.error())});
  }
  addWarpTroubles(store_, report.needsAttention);
}

void StatusSources::addMount(StatusReport& report) {
  const auto mount = host::ControlClient::find(platform_.directories);
  if (!mount) return;
  auto status = mount->status(kMountPatience);
  if (!status) return report.needsAttention.push_back({"the mount", sentence(status.error())});
  report.mount = *std::move(status);
  for (const auto& [identifier, filename, error] : report.mount->problems) {
    // The most recent operation may have failed for the same file: it is told once.
    std::erase_if(report.needsAttention, [&](const StatusReport::Trouble& trouble) {
      return trouble.message == error && lastPathComponent(trouble.subject) == filename;
    });
    report.needsAttention.push_back({filename, error});
  }
}

std::string statusText(const StatusReport& report, const OpeningText& opening) {
  std::string text = operationText(report);
  if (report.mount) text += mountText(*report.mount, opening);
  text += fmt::format("Opened here: {}, {}\n", counted(report.cached.size(), "file"),
                      readableSize(totalSize(report.cached)));
  text += newest(report.cached, [](const auto& record) {
    return fmt::format("{}  {}", shownPath(record), readableSize(record.size));
  });
  if (!report.waitingForUpload.empty()) {
    text += fmt::format("Waiting for upload: {}\n", counted(report.waitingForUpload.size(), "file"));
    text += newest(report.waitingForUpload, [](const auto& record) {
      const std::string since = record.modifiedAt ? " since " + readableDate(*record.modifiedAt) : "";
      return fmt::format("{}  {}{}", shownPath(record), readableSize(*record.pendingWritebackSize), since);
    });
  }
  if (!report.needsAttention.empty()) text += "Needs attention:\n";
  for (const auto& [subject, message] : report.needsAttention) {
    text += fmt::format("  {}: {}\n", printable(subject), printable(message));
  }
  return text;
}

std::string statusJSON(const StatusReport& report) {
  return jsonText([&](JSONWriter& writer) {
    const JSONObject object(writer);
    const auto records = [&](std::string_view name, const auto& list) {
      object.memberBy(name,
                      [&] { writeArray(writer, list, [&](const auto& record) { writeRecord(writer, record); }); });
    };
    if (report.operation) object.rawMember("operation", encodeMaterializationState(*report.operation));
    if (report.mount) object.memberBy("mount", [&] { writeMount(writer, *report.mount); });
    records("cached", report.cached);
    records("waitingForUpload", report.waitingForUpload);
    object.memberBy("needsAttention", [&] {
      writeArray(writer, report.needsAttention, [&](const StatusReport::Trouble& trouble) {
        const JSONObject element(writer);
        element.member("subject", trouble.subject);
        element.member("message", trouble.message);
      });
    });
  });
}

}  // namespace tovrin::cli
