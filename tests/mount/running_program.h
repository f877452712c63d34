#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace tovrin {

/// How a program ended.
struct Ended {
  int status = -1;     ///< the exit status; -signal when a signal ended it
  std::string output;  ///< standard output and standard error as they came
};

/// A program beside the test, in a process group of its own. What is left of the group is killed with the object, and
/// the program gets SIGTERM when the test dies.
class RunningProgram {
 public:
  struct Place {
    std::filesystem::path directory;
    std::vector<std::string> environment;  ///< all of it, "NAME=value"
  };
  RunningProgram(std::vector<std::string> words, const Place& place);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t process() const { return process_; }
  void signal(int number) const;
  /// What it has written so far.
  std::string output() const;
  /// Until it has written the text; false when it ended or 20 seconds passed.
  bool waitForOutput(std::string_view text) const;
  /// Waits for its end; kills the group when that takes too long.
  Ended finish(std::chrono::seconds patience = std::chrono::seconds(30));

 private:
  bool waitForEnd(std::chrono::milliseconds patience) const;

  pid_t process_ = -1;
  int handle_ = -1;
  int output_ = -1;
};

}  // namespace tovrin
