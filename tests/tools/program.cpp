#include "tools/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace tovrin {
namespace {

using worker::Descriptor;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    reading = Descriptor(ends[0]);
    writing = Descriptor(ends[1]);
  }
  Descriptor reading;
  Descriptor writing;
};

pid_t spawn(const std::vector<std::string>& words, const std::vector<std::string>& environment, int output,
            int errors) {
  std::vector<char*> arguments, variables;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  for (const std::string& variable : environment) variables.push_back(const_cast<char*>(variable.c_str()));
  for (char** variable = environ; *variable; ++variable) variables.push_back(*variable);
  variables.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (errors >= 0) posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  pid_t pid = -1;
  const int failed = posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), variables.data());
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("cannot run " + words.front());
  return pid;
}

int waitFor(pid_t pid, rusage& usage) {
  int status = 0;
  while (::wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ProgramResult runProgram(const std::vector<std::string>& words, const std::vector<std::string>& environment) {
  Pipe output, errors;
  const pid_t pid = spawn(words, environment, output.writing.number(), errors.writing.number());
  output.writing = Descriptor();
  errors.writing = Descriptor();

  ProgramResult result;
  std::array<pollfd, 2> waits{{{output.reading.number(), POLLIN, 0}, {errors.reading.number(), POLLIN, 0}}};
  std::array<std::string*, 2> texts{&result.output, &result.errors};
  for (int open = 2; open > 0;) {
    ::poll(waits.data(), waits.size(), -1);
    for (std::size_t i = 0; i < waits.size(); ++i) {
      if (waits[i].fd < 0 || waits[i].revents == 0) continue;
      std::array<char, 4096> piece;
      const ssize_t count = ::read(waits[i].fd, piece.data(), piece.size());
      if (count > 0) {
        texts[i]->append(piece.data(), static_cast<std::size_t>(count));
      } else {
        waits[i].fd = -1;
        --open;
      }
    }
  }
  rusage usage{};
  result.status = waitFor(pid, usage);
  result.peakResidentKiB = static_cast<std::size_t>(usage.ru_maxrss);
  return result;
}

WorkerProcess::WorkerProcess(const std::vector<std::string>& words, const std::string& password) {
  Pipe output;
  std::vector<std::string> all{TOVRIN_WORKER_PROGRAM};
  all.insert(all.end(), words.begin(), words.end());
  pid_ = spawn(all, {"TOVRIN_WORKER_PASSWORD=" + password}, output.writing.number(), -1);
  output.writing = Descriptor();
  output_ = std::move(output.reading);

  constexpr std::string_view kReady = "listening on ";
  std::string line;
  for (char character = 0; ::read(output_.number(), &character, 1) == 1 && character != '\n';) line += character;
  if (line.starts_with(kReady)) address_ = line.substr(kReady.size());
}

WorkerProcess::~WorkerProcess() {
  if (pid_ > 0) end(SIGKILL);
}

int WorkerProcess::end(int signal) {
  ::kill(pid_, signal);
  rusage usage{};
  const int status = waitFor(pid_, usage);
  pid_ = -1;
  return status;
}

}  // namespace tovrin
