#include "support/server_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace tovrin {

namespace {

constexpr int kPassedDescriptor = 3;

std::string findProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin:/usr/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::filesystem::path candidate = std::filesystem::path(folder) / name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  throw std::runtime_error("this test needs the program " + name);
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

ServerProcess::ServerProcess(std::vector<std::string> arguments, const Options& options) {
  const std::string program = findProgram(arguments.front());
  std::vector<std::string> variables = options.environment;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  const std::vector<char*> argumentPointers = pointers(arguments);
  const std::vector<char*> variablePointers = pointers(variables);

  process_ = fork();
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int passed = options.passedDescriptor;
  if (passed == kPassedDescriptor) fcntl(passed, F_SETFD, 0);
  if (passed >= 0 && passed != kPassedDescriptor) dup2(passed, kPassedDescriptor);
  execve(program.c_str(), argumentPointers.data(), variablePointers.data());
  _exit(127);
}

ServerProcess::~ServerProcess() { end(); }

void ServerProcess::end() {
  if (process_ < 0) return;
  ::kill(process_, SIGTERM);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace tovrin
