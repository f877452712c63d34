#include "cli/fetch_tree.h"

#include <fmt/core.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <numeric>
#include <vector>

#include "cli/error_output.h"
#include "cli/fetch_queue.h"
#include "cli/json_output.h"
#include "cli/output.h"
#include "cli/progress_bar.h"
#include "cli/tree_files.h"
#include "foundation/readable_size.h"

namespace tovrin::cli {

namespace {

constexpr int kTickMilliseconds = 200;

NSError notMounted() {
  return NSError::posix(
      ENOTCONN, "The container is not mounted. Files of a folder are fetched into the local copies of a mount.");
}

std::int64_t totalBytes(const std::vector<TreeFile>& files) {
  return std::accumulate(files.begin(), files.end(), std::int64_t{0},
                         [](std::int64_t sum, const TreeFile& file) { return sum + file.bytes; });
}

/// Nobody should be surprised by what a folder holds.
void announce(const std::vector<TreeFile>& files, const host::MountStatus& mount) {
  const std::int64_t bytes = totalBytes(files);
  fmt::print(stderr, "{}, {}\n", counted(files.size(), "file"), readableSize(bytes));
  if (bytes > mount.limits.cacheBytes) {
    fmt::print(stderr, "Local copies may take {} only: the first ones will be dropped again.\n",
               readableSize(mount.limits.cacheBytes));
  }
}

/// The bar over all files, and what each of them that is on its way adds to it.
void draw(ProgressBar& bar, const FetchQueue::State& state, const host::ControlClient& mount, std::size_t files,
          std::int64_t bytes) {
  if (!bar.isShown()) return;
  auto here = static_cast<double>(state.bytes);
  if (const auto status = mount.status()) {
    for (const host::MountStatus::Opening& opening : status->openings) {
      const bool isOurs = std::ranges::any_of(
          state.going, [&](const TreeFile* file) { return file->identifier == opening.identifier; });
      if (isOurs) here += opening.fraction * static_cast<double>(opening.bytes);
    }
  }
  const double fraction =
      bytes > 0 ? here / static_cast<double>(bytes) : static_cast<double>(state.files) / static_cast<double>(files);
  bar.draw(fraction, fmt::format("{} of {}, {} of {}", state.files, counted(files, "file"),
                                 readableSize(static_cast<std::int64_t>(here)), readableSize(bytes)));
}

/// What became of the files; interrupted when it is incomplete and has no end of its own.
FetchQueue::State fetchAll(const host::ControlClient& mount, const std::vector<TreeFile>& files,
                           const InterruptWatch& interruption, const Platform& platform) {
  FetchQueue queue(mount, files);
  ProgressBar bar(platform);
  std::array<pollfd, 2> sources{pollfd{queue.doneDescriptor(), POLLIN, 0},
                                pollfd{interruption.descriptor(), POLLIN, 0}};
  const std::int64_t bytes = totalBytes(files);
  while ((sources[0].revents & POLLIN) == 0) {
    draw(bar, queue.state(), mount, files.size(), bytes);
    poll(sources.data(), sources.size(), kTickMilliseconds);
    if (interruption.requested() && sources[1].fd >= 0) {
      sources[1].fd = -1;
      queue.stop();
    }
  }
  return queue.state();
}

void writeFailed(JSONWriter& writer, const FetchQueue::Failed& failed) {
  const JSONObject object(writer);
  object.member("itemIdentifier", failed.file->identifier);
  object.member("path", repairedUTF8(failed.file->path));
  object.member("domain", failed.error.domain());
  object.member("code", failed.error.code());
  object.member("localizedDescription", repairedUTF8(failed.error.localizedDescription()));
}

std::string json(const std::vector<TreeFile>& files, const FetchQueue::State& state) {
  return jsonText([&](JSONWriter& writer) {
    const JSONObject object(writer);
    object.member("files", files.size());
    object.member("bytes", totalBytes(files));
    object.memberBy("failed", [&] {
      writeArray(writer, state.failed, [&](const FetchQueue::Failed& failed) { writeFailed(writer, failed); });
    });
  });
}

}  // namespace

Outcome fetchTree(Session& session, const std::string& item, bool asJSON) {
  const InterruptWatch interruption;
  const auto mount = host::ControlClient::find(session.platform().directories);
  if (!mount) return std::unexpected(Failure{item, notMounted(), {}});
  TOVRIN_TRY(const host::MountStatus status, about({}, mount->status()));
  TOVRIN_TRY(const std::vector<TreeFile> files, treeFiles(session, item));
  if (!asJSON) announce(files, status);
  const FetchQueue::State state = fetchAll(*mount, files, interruption, session.platform());
  if (!asJSON) {
    for (const auto& [file, error] : state.failed) reportFailure({file->path, error, {}}, ErrorFormat::plain);
  }
  if (state.end) return std::unexpected(Failure{item, *state.end, {}});
  if (state.files < files.size()) {
    return std::unexpected(Failure{item, NSError::cocoa(CocoaErrorCode::userCancelled), {}});
  }
  if (asJSON) TOVRIN_CHECK(about("standard output", writeStandardOutput(json(files, state) + '\n')));
  return state.failed.empty() ? kExitDone : kExitFailed;
}

}  // namespace tovrin::cli
