#include "support/lock_holder.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace tovrin {
namespace {

bool takeRecordLock(const char* file) {
  const int descriptor = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  struct flock whole{};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return descriptor >= 0 && fcntl(descriptor, F_SETLK, &whole) == 0;
}

}  // namespace

LockHolderProcess::LockHolderProcess(const std::filesystem::path& file) {
  std::filesystem::create_directories(file.parent_path());
  std::array<int, 2> ready{};
  if (pipe(ready.data()) != 0) throw std::runtime_error("no pipe");
  child_ = fork();
  if (child_ == 0) {
    const char answer = takeRecordLock(file.c_str()) ? 'y' : 'n';
    if (write(ready[1], &answer, 1) != 1) _exit(1);
    for (;;) pause();
  }
  char answer = 'n';
  const bool isAnswered = read(ready[0], &answer, 1) == 1;
  close(ready[0]);
  close(ready[1]);
  if (!isAnswered || answer != 'y') throw std::runtime_error("the other process did not get the lock");
}

LockHolderProcess::~LockHolderProcess() { release(); }

void LockHolderProcess::release() {
  if (child_ < 0) return;
  kill(child_, SIGKILL);
  waitpid(std::exchange(child_, -1), nullptr, 0);
}

bool isUnlockedForOthers(const std::filesystem::path& file) {
  const pid_t child = fork();
  if (child == 0) _exit(takeRecordLock(file.c_str()) ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace tovrin
