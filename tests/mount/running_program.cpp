#include "mount/running_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace tovrin {

namespace {

using std::chrono::milliseconds;

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

}  // namespace

RunningProgram::RunningProgram(std::vector<std::string> words, const Place& place)
    : output_(memfd_create("output", MFD_CLOEXEC)) {
  const std::vector<char*> arguments = pointers(words);
  const std::vector<char*> variables = pointers(place.environment);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    setpgid(0, 0);
    dup2(nothing, STDIN_FILENO);
    dup2(output_, STDOUT_FILENO);
    dup2(output_, STDERR_FILENO);
    if (chdir(place.directory.c_str()) == 0) execve(arguments.front(), arguments.data(), variables.data());
    _exit(127);
  }
  close(nothing);
  if (process_ < 0) throw std::runtime_error("cannot fork");
  setpgid(process_, process_);  // here too: whichever comes first
  handle_ = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
}

RunningProgram::~RunningProgram() {
  if (process_ >= 0) finish(std::chrono::seconds(0));
  close(handle_);
  close(output_);
}

void RunningProgram::signal(int number) const { kill(process_, number); }

std::string RunningProgram::output() const {
  struct stat status{};
  fstat(output_, &status);
  std::string text(static_cast<std::size_t>(status.st_size), '\0');
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, pread(output_, text.data(), text.size(), 0))));
  return text;
}

bool RunningProgram::waitForOutput(std::string_view text) const {
  constexpr int kLooks = 2000;
  for (int look = 0; look < kLooks; ++look) {
    if (output().find(text) != std::string::npos) return true;
    if (waitForEnd(milliseconds(10))) break;
  }
  return output().find(text) != std::string::npos;
}

bool RunningProgram::waitForEnd(milliseconds patience) const {
  pollfd end{handle_, POLLIN, 0};
  return poll(&end, 1, static_cast<int>(patience.count())) > 0;
}

Ended RunningProgram::finish(std::chrono::seconds patience) {
  std::ignore = waitForEnd(patience);
  killpg(process_, SIGKILL);  // also what it left behind
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), output()};
}

}  // namespace tovrin
