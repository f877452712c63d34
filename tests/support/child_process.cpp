#include "support/child_process.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tovrin {

int inChild(const std::function<void()>& run) {
  const pid_t child = fork();
  if (child == 0) {
    run();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void keepMountsPrivate() {
  const bool isPrivate = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  if (!isPrivate) _exit(kCannotTest);
}

}  // namespace tovrin
