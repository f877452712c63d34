#include <curl/curl.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/date.h"
#include "foundation/path.h"
#include "foundation/uuid.h"
#include "tovrin-warp/container.h"
#include "tovrin-warp/make_warp.h"
#include "tovrin-worker/password_file.h"

namespace {

using namespace tovrin;
using namespace tovrin::warp;

constexpr int kFailed = 1;
constexpr int kWrongWords = 2;

struct Words {
  std::string container;
  std::string passwordFile;

  MakeOptions make;
  std::string objects;
  std::string put;
  std::string createdAt;
  bool noChecksums = false;

  std::string address;
  std::vector<std::string> warpIDs;
  bool keepManifest = false;
};

int fail(int status, std::string_view message) {
  fmt::print(stderr, "tovrin-warp: {}\n", message);
  return status;
}

int report(const NSError& error) {
  const DecodingFailure* decoding = error.decodingFailure();
  if (!decoding) return fail(kFailed, error.localizedDescription());
  return fail(kFailed, fmt::format("{} {} (at {})", error.localizedDescription(), decoding->debugDescription,
                                   fmt::join(decoding->codingPath, "/")));
}

int finish(const Result<void>& result) { return result ? 0 : report(result.error()); }

Result<std::unique_ptr<ObjectSink>> openSink(const Words& words) {
  if (!words.objects.empty()) return makeFolderSink(words.objects);
  TOVRIN_TRY(std::string password, worker::readPassword(words.passwordFile));
  return makeWorkerSink(words.put, std::move(password));
}

int runMake(Words& words) {
  MakeOptions& options = words.make;
  std::error_code error;
  options.folder = std::filesystem::absolute(options.folder, error);
  if (options.originalFolderPath.empty()) options.originalFolderPath = standardizedPath(options.folder.native());
  if (!isCanonicalAbsolutePath(options.originalFolderPath)) {
    return fail(kWrongWords,
                fmt::format("\"{}\" is not an absolute path without . and ..", options.originalFolderPath));
  }
  if (options.warpID.empty()) options.warpID = makeUUIDString();
  if (!isUsableWarpID(options.warpID))
    return fail(kWrongWords, fmt::format("\"{}\" cannot name a Warp", options.warpID));
  if (!words.createdAt.empty()) {
    options.createdAt = parseISO8601(words.createdAt);
    if (!options.createdAt) return fail(kWrongWords, "--created-at takes a date such as 2025-03-01T12:00:00Z");
  }
  options.payload.checksums = !words.noChecksums;

  auto sink = openSink(words);
  if (!sink) return report(sink.error());
  Container container(words.container);
  const auto made = makeWarp(options, **sink, container);
  if (!made) return report(made.error());
  for (const std::string& path : made->skipped) {
    fmt::print(stderr, "tovrin-warp: left out \"{}\": it is no file, folder or symbolic link\n", path);
  }
  fmt::print("{}\n{}\nfiles {} folders {} links {} objects {} bytes {}\n", options.warpID, made->manifest.native(),
             made->files, made->folders, made->symbolicLinks, made->objects, made->storedBytes);
  return 0;
}

int runConnect(const Words& words) {
  const auto password = worker::readPassword(words.passwordFile);
  if (!password) return report(password.error());
  return finish(Container(words.container).writeConnection(words.address, *password));
}

/// An option that takes one of the words and sets `value` to what the word stands for.
template <class Value, class Target>
void addChoice(CLI::App* command, const std::string& name, Target& value,
               const std::vector<std::pair<std::string, Value>>& choices, const std::string& description) {
  std::vector<std::string> words;
  for (const auto& choice : choices) words.push_back(choice.first);
  command
      ->add_option_function<std::string>(
          name,
          [&value, choices](const std::string& word) {
            value = std::ranges::find(choices, word, &std::pair<std::string, Value>::first)->second;
          },
          description)
      ->check(CLI::IsMember(words).description(""))
      ->type_name(fmt::format("{}", fmt::join(words, "|")));
}

/// The variable is read here: the library would let it overrule the option of another command.
void addContainer(CLI::App* command, Words& words) {
  const char* variable = std::getenv("TOVRIN_CONTAINER");
  words.container = variable != nullptr ? variable : "";
  command
      ->add_option("--container", words.container,
                   "the shared container; its Warp directory is DIR/Warp [TOVRIN_CONTAINER]")
      ->required(words.container.empty())
      ->type_name("DIR");
}

void addPasswordFile(CLI::App* command, Words& words) {
  command
      ->add_option("--password-file", words.passwordFile, "file with the password; else TOVRIN_WORKER_PASSWORD is used")
      ->type_name("FILE");
}

void addPayloadOptions(CLI::App* command, Words& words) {
  PayloadOptions& payload = words.make.payload;
  addChoice<EncodingChoice>(
      command, "--encoding", payload.encoding,
      {{"auto", EncodingChoice::automatic}, {"raw", EncodingChoice::raw}, {"lzfse", EncodingChoice::lzfse}},
      "of the stored bytes; a file with holes is always raw [auto: what is smaller]");
  addChoice<LayoutChoice>(command, "--layout", payload.layout,
                          {{"auto", LayoutChoice::automatic},
                           {"object", LayoutChoice::object},
                           {"parts", LayoutChoice::parts},
                           {"bundle", LayoutChoice::bundle}},
                          "an object per file, several, or several files per object [auto: by size]");
  addChoice<SparseChoice>(command, "--sparse", payload.sparse,
                          {{"auto", SparseChoice::automatic}, {"never", SparseChoice::never}},
                          "whether holes are left out [auto]");
  addChoice<KeyChoice>(command, "--keys", payload.keys, {{"numbers", KeyChoice::numbers}, {"paths", KeyChoice::paths}},
                       "how objects are named [numbers]");
  command->add_option("--part-size", payload.partBytes, "most bytes of a part, such as 64KiB [16MiB]")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(std::int64_t{1}, std::numeric_limits<std::int64_t>::max()).description(""))
      ->type_name("BYTES");
  command->add_option("--bundle-size", payload.bundleBytes, "most bytes of a bundle of files [4MiB]")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(std::int64_t{1}, std::numeric_limits<std::int64_t>::max()).description(""))
      ->type_name("BYTES");
  addChoice<std::optional<TovrinPayloadNamespace>>(
      command, "--namespace", payload.partNamespace,
      {{"warp", TovrinPayloadNamespace::warp}, {"backup", TovrinPayloadNamespace::backup}, {"none", std::nullopt}},
      "where parts lie [warp]");
  command->add_flag("--no-checksums", words.noChecksums, "leave the files' SHA-256 out");
}

void addManifestOptions(CLI::App* command, Words& words) {
  MakeOptions& make = words.make;
  command->add_option("--warp-id", make.warpID, "identity of the Warp [a fresh UUID]")->type_name("ID");
  command->add_option("--device-id", make.deviceID, "identity of the device")->type_name("ID")->capture_default_str();
  command->add_option("--original-path", make.originalFolderPath, "the folder's path as the manifest says it")
      ->type_name("PATH");
  command->add_option("--display-name", make.displayName, "the Warp's name [the folder's name]")->type_name("NAME");
  command->add_option("--created-at", words.createdAt, "every date of the manifest [now]")->type_name("DATE");
  using Status = TovrinWarpSharedStatus;
  addChoice<Status>(command, "--status", make.status,
                    {{"uploading", Status::uploading},
                     {"verified", Status::verified},
                     {"replaced", Status::replaced},
                     {"failed", Status::failed},
                     {"needsAttention", Status::needsAttention}},
                    "state of the Warp [verified; replaced with --mark]");
  command->add_option("--failure", make.failureDescription, "the manifest's failure text")->type_name("TEXT");
  command->add_option("--samples", make.samples, "how many files are named as verification samples")
      ->type_name("N")
      ->capture_default_str();
  addChoice<HardLinkChoice>(command, "--hard-links", make.hardLinks,
                            {{"repeat", HardLinkChoice::repeatPayload}, {"primary", HardLinkChoice::primaryOnly}},
                            "a further link repeats the payload, or only names its primary [repeat]");
  command->add_flag("--root-entry", make.rootEntry, "the folder itself becomes an entry too");
  command->add_flag("--mark", make.mark, "write the marker into the folder");
}

void addMake(CLI::App& app, Words& words, int& status) {
  CLI::App* command = app.add_subcommand("make", "Makes a Warp of a folder: stores its files, writes its manifest.");
  command->add_option("FOLDER", words.make.folder, "the folder; it is only read")
      ->required()
      ->check(CLI::ExistingDirectory.description(""));
  addContainer(command, words);
  CLI::Option_group* target = command->add_option_group("Where objects go");
  target->add_option("--objects", words.objects, "a folder that tovrin-worker can serve")->type_name("DIR");
  target->add_option("--put", words.put, "a running worker, http://host:port")->type_name("URL");
  target->require_option(1);
  addPasswordFile(command, words);
  addPayloadOptions(command, words);
  addManifestOptions(command, words);
  command->callback([&] { status = runMake(words); });
}

void addConnect(CLI::App& app, Words& words, int& status) {
  CLI::App* command = app.add_subcommand("connect", "Writes where the worker is and how to log in.");
  addContainer(command, words);
  command->add_option("--address", words.address, "host:port, without a scheme")->required()->type_name("HOST:PORT");
  addPasswordFile(command, words);
  command->callback([&] { status = runConnect(words); });
}

CLI::App* addIndexCommand(CLI::App& app, Words& words, const std::string& name, const std::string& description) {
  CLI::App* command = app.add_subcommand(name, description);
  addContainer(command, words);
  command->add_option("WARPID", words.warpIDs, "the Warps")->required();
  return command;
}

void addIndexCommands(CLI::App& app, Words& words, int& status) {
  addIndexCommand(app, words, "show", "Adds Warps to the visibility index, which is made when missing.")->callback([&] {
    status = finish(Container(words.container).show(words.warpIDs));
  });
  addIndexCommand(app, words, "hide", "Takes Warps out of the visibility index.")->callback([&] {
    status = finish(Container(words.container).hide(words.warpIDs));
  });
  CLI::App* destroy =
      addIndexCommand(app, words, "destroy", "Writes tombstones for Warps and removes their manifests.");
  destroy->add_flag("--keep-manifest", words.keepManifest, "leave the manifest behind, as a stale one");
  destroy->callback([&] {
    status = finish(
        Container(words.container)
            .destroy(words.warpIDs, words.keepManifest ? Container::Manifest::keep : Container::Manifest::remove));
  });
}

}  // namespace

int main(int argc, char** argv) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  Words words;
  int status = 0;
  CLI::App app("Makes Warps of real folders, and plays the main application's part in the shared container.",
               "tovrin-warp");
  app.require_subcommand(1);
  addMake(app, words, status);
  addConnect(app, words, status);
  addIndexCommands(app, words, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongWords;
  }
  return status;
}
