#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_platform.h"
#include "support/warp_fixture.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {

/// How a run of the command ended.
struct Ended {
  int status = -1;  ///< the exit status; -signal when a signal ended it
  std::string out;
  std::string err;
};

/// A run of the `tovrin` program that goes on. Killed with the object.
class RunningCommand {
 public:
  enum class ErrorOutput { pipe, terminal };
  enum class Output { pipe, terminal };
  struct Options {
    std::filesystem::path directory;
    std::vector<std::string> environment;
    ErrorOutput errorOutput = ErrorOutput::pipe;
    Output output = Output::pipe;
  };
  RunningCommand(std::vector<std::string> words, const Options& options);
  ~RunningCommand();
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;

  void signal(int number) const;
  /// Reads what it writes until standard output, or the error output, holds the text; false when it ended or 30 seconds
  /// passed.
  bool waitForOutput(std::string_view text);
  bool waitForErrorOutput(std::string_view text);
  /// Nobody reads its standard output any more.
  void closeOutput();
  /// Reads everything and waits for the end, 60 seconds at most.
  Ended finish();

 private:
  bool readSome(int milliseconds);

  pid_t process_ = -1;
  int out_ = -1;
  int err_ = -1;
  Ended ended_;
};

/// A container of its own, a worker on loopback, and the real program with nothing of this machine's environment.
class Command : public ::testing::Test {
 protected:
  Command();

  Ended run(std::vector<std::string> words) { return start(std::move(words))->finish(); }
  std::unique_ptr<RunningCommand> start(std::vector<std::string> words,
                                        RunningCommand::ErrorOutput errorOutput = RunningCommand::ErrorOutput::pipe);
  std::unique_ptr<RunningCommand> startOnTerminal(std::vector<std::string> words);

  /// The Warp W1 of /Users/ann/Photos: a.jpg, notes (no extension, mode 0640), a link to a.jpg and a folder "sub" with
  /// x.txt. Its objects lie in the worker.
  void installPhotos();
  void startWorker();

  std::filesystem::path work() const { return scratch_ / "work"; }
  std::filesystem::path container() const { return *platform_.directories.container; }
  std::filesystem::path warp() const { return platform_.warpDirectory(); }
  /// Where a mount's control socket is looked for.
  std::filesystem::path runtime() const { return scratch_ / "run"; }
  /// How many files the provider's temporary directory holds.
  std::size_t temporaryFiles() const;

  TestPlatform platform_;
  const ScratchFolder& scratch_ = platform_.scratch;
  LoopbackWorker worker_;
  std::vector<std::string> environment_;
};

inline const std::string kPhotos = "/Warped Files/Users/ann/Photos";
inline const std::string kNoteBytes = "Remember the milk.\n";

/// The identifier of an entry of W1.
std::string entryID(std::string_view relativePath);

/// Fails the test when the text is not exactly one JSON value.
rapidjson::Document parsed(const std::string& text);
/// The names of the items in a JSON array of items.
std::vector<std::string> fileNamesIn(const std::string& itemsJSON);

}  // namespace tovrin
