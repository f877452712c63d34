#include "cli/inspect_files.h"

#include <limits>
#include <stop_token>
#include <thread>

#include "cli/answer.h"
#include "cli/command.h"
#include "cli/disposable_file.h"
#include "cli/json_output.h"
#include "materialize/lzfse_decoding.h"
#include "platform/file_system.h"
#include "shared/manifest.h"

namespace tovrin::cli {

namespace {

Result<std::string> encodedAgain(const std::string& file) {
  TOVRIN_TRY(const FileContents contents, readWholeFile(file));
  TOVRIN_TRY(const TovrinWarpSharedManifest manifest, decodeManifest(contents.bytes));
  return encodeManifest(manifest);
}

/// A stream alone does not say how much it may hold.
constexpr DecodedSizeLimit kNoLimit{std::numeric_limits<std::int64_t>::max()};

Result<void> decode(const std::string& file, const std::filesystem::path& decoded, std::stop_token stop) {
  TOVRIN_TRY(FileHandle input, FileHandle::forReading(file));
  TOVRIN_TRY(FileHandle output, FileHandle::forWriting(decoded));
  TOVRIN_CHECK(decodeLZFSE(input, output, kNoLimit, [](std::int64_t) {}, std::move(stop)));
  return output.close();
}

/// On a thread of its own, so that an interruption stops it and what it made goes.
Result<void> decodeUnlessInterrupted(const std::string& file, const std::filesystem::path& decoded) {
  const InterruptWatch interruption;
  Answer<Result<void>> answer;
  std::jthread worker([&](std::stop_token stop) { answer.give(decode(file, decoded, std::move(stop))); });
  return answer.wait(interruption, [&] { worker.request_stop(); }, [] {});
}

Result<std::int64_t> decodeTo(const std::filesystem::path& target, const std::string& file) {
  std::int64_t bytes = 0;
  const auto write = [&](const std::filesystem::path& decoded) -> Result<void> {
    TOVRIN_CHECK(decodeUnlessInterrupted(file, decoded));
    TOVRIN_TRY(const FileAttributes attributes, fileAttributes(decoded));
    bytes = attributes.identity.size;
    return {};
  };
  TOVRIN_CHECK(makeFile(target, write));
  return bytes;
}

}  // namespace

Outcome inspectManifest(const std::string& file) {
  TOVRIN_TRY(const std::string manifest, about(file, encodedAgain(file)));
  return printLine(manifest);
}

Outcome inspectLZFSE(const std::string& file, const std::string& output) {
  TOVRIN_TRY(const std::int64_t bytes,
             about(file, decodeTo(std::filesystem::absolute(output).lexically_normal(), file)));
  return printLine(jsonText([&](JSONWriter& writer) { JSONObject(writer).member("bytes", bytes); }));
}

}  // namespace tovrin::cli
