#include "cli/mount_report.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "cli/output.h"
#include "foundation/readable_size.h"
#include "host/control/control_messages.h"

namespace tovrin::cli {

namespace {

using host::EditState;
using host::MountStatus;

std::string copiesText(const MountStatus& mount) {
  return fmt::format("Local copies: {}, {} of {}\n",
                     counted(static_cast<std::uint64_t>(mount.usage.cachedItems), "file"),
                     readableSize(mount.usage.cachedBytes), readableSize(mount.limits.cacheBytes));
}

std::string_view words(EditState state) {
  switch (state) {
    case EditState::writing:
      return "being written";
    case EditState::unsaved:
      return "waits to be handed over";
    case EditState::saved:
      return "waits for upload";
    case EditState::interrupted:
      break;
  }
  return "was being written when the mount ended";
}

/// Those that wait for upload are in the journal, and shown from there.
bool isShown(const MountStatus::KeptEdit& edit) { return edit.state != EditState::saved; }

std::string editsText(const MountStatus& mount) {
  const auto shown = std::ranges::count_if(mount.edits, isShown);
  if (shown == 0) return {};
  std::string text = fmt::format("Edits kept here: {}\n", counted(static_cast<std::uint64_t>(shown), "file"));
  for (const MountStatus::KeptEdit& edit : mount.edits) {
    if (!isShown(edit)) continue;
    const std::string error = edit.error.empty() ? "" : ": " + printable(edit.error);
    text += fmt::format("  {}: {}{}\n    {}\n", printable(edit.filename), words(edit.state), error,
                        printable(edit.file.string()));
  }
  return text;
}

void writeOpening(JSONWriter& writer, const MountStatus::Opening& opening) {
  const JSONObject object(writer);
  object.member("itemIdentifier", opening.identifier);
  object.member("filename", opening.filename);
  object.member("bytes", opening.bytes);
  object.member("fraction", opening.fraction);
  object.member("isQueued", opening.isQueued);
}

void writeEdit(JSONWriter& writer, const MountStatus::KeptEdit& edit) {
  const JSONObject object(writer);
  object.member("itemIdentifier", edit.identifier);
  object.member("filename", edit.filename);
  object.member("state", host::nameOf(edit.state));
  object.member("file", repairedUTF8(edit.file.string()));
  if (!edit.error.empty()) object.member("error", edit.error);
}

void writeProblem(JSONWriter& writer, const MountStatus::Problem& problem) {
  const JSONObject object(writer);
  object.member("itemIdentifier", problem.identifier);
  object.member("filename", problem.filename);
  object.member("error", problem.error);
}

}  // namespace

std::string openingText(const MountStatus::Opening& opening) {
  const std::string name = printable(opening.filename);
  const std::string size = readableSize(opening.bytes);
  if (opening.isQueued) return fmt::format("{}: waits for its turn, {}", name, size);
  return fmt::format("{}: {:.0f}% of {}", name, std::floor(opening.fraction * 100), size);
}

std::string mountText(const MountStatus& mount, const OpeningText& opening) {
  std::string text =
      fmt::format("Mounted at {} by process {}\n", printable(mount.mountpoint.string()), mount.processID);
  if (!mount.openings.empty()) text += fmt::format("Opening: {}\n", counted(mount.openings.size(), "file"));
  for (const MountStatus::Opening& one : mount.openings) text += fmt::format("  {}\n", opening(one));
  text += copiesText(mount) + editsText(mount);
  if (mount.refusedCrawlers > 0) {
    text +=
        fmt::format("Refused to crawlers: {}\n", counted(static_cast<std::uint64_t>(mount.refusedCrawlers), "open"));
  }
  return text;
}

void writeMount(JSONWriter& writer, const MountStatus& mount) {
  const JSONObject object(writer);
  const auto list = [&](std::string_view name, const auto& elements, auto write) {
    object.memberBy(name, [&] { writeArray(writer, elements, [&](const auto& element) { write(writer, element); }); });
  };
  object.member("mountpoint", repairedUTF8(mount.mountpoint.string()));
  object.member("processID", mount.processID);
  object.member("cachedBytes", mount.usage.cachedBytes);
  object.member("cachedItems", mount.usage.cachedItems);
  object.member("cacheLimitBytes", mount.limits.cacheBytes);
  list("openings", mount.openings, writeOpening);
  list("edits", mount.edits, writeEdit);
  list("problems", mount.problems, writeProblem);
  object.member("refusedCrawlers", mount.refusedCrawlers);
}

}  // namespace tovrin::cli
