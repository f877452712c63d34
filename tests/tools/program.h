#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tovrin-worker/descriptor.h"

namespace tovrin {

struct ProgramResult {
  int status = -1;  ///< exit status; 128 + the signal when one ended it
  std::string output;
  std::string errors;
  std::size_t peakResidentKiB = 0;
};

/// Runs a program to its end. The environment is ours plus `environment` ("NAME=VALUE").
ProgramResult runProgram(const std::vector<std::string>& words, const std::vector<std::string>& environment = {});

/// A tovrin-worker in a process of its own; ended with the object.
class WorkerProcess {
 public:
  /// `words` without the program. The password comes from the environment.
  explicit WorkerProcess(const std::vector<std::string>& words, const std::string& password = "pass");
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  /// "127.0.0.1:PORT"; empty when it did not come up.
  const std::string& address() const { return address_; }
  pid_t pid() const { return pid_; }
  /// Sends the signal and gives the exit status, as ProgramResult has it.
  int end(int signal);

 private:
  pid_t pid_ = -1;
  worker::Descriptor output_;
  std::string address_;
};

}  // namespace tovrin
