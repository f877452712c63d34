#include "host/control_fixture.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <tuple>

namespace tovrin::host {

MountStatus richStatus() {
  MountStatus status;
  status.mountpoint = "/mnt/\xff\"quoted\"\n";
  status.processID = 4711;
  status.usage = {std::int64_t{5} << 40, 12};
  status.limits = {std::int64_t{10} << 30, 0.25};
  status.openings = {{"entry:W1:YQ", "a \"b\".jpg", 1000, 0.5, false}, {"entry:W1:Yg", "ü.jpg", 0, 0, true}};
  status.edits = {{"entry:W1:Yw", "c.txt", EditState::unsaved, "/cache/\xfe", "Could not read “\xfd”."},
                  {"entry:W1:ZA", "d.txt", EditState::interrupted, "/cache/d", ""}};
  status.problems = {{"entry:W1:ZQ", "e", "Not reachable."}};
  status.refusedCrawlers = 99;
  return status;
}

Control::Control() {
  mount_.stalled = {"waits"};
  std::filesystem::create_directories(platform_.warpDirectory());
  std::filesystem::create_directories(runtime_);
}

OtherProcess::OtherProcess(const std::function<void(const std::function<void()>& ready)>& work) {
  std::array<int, 2> ready{};
  EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
  process_ = fork();
  if (process_ == 0) {
    work([&] { std::ignore = write(ready[1], "r", 1); });
    _exit(0);
  }
  close(ready[1]);
  char byte = 0;
  isReady_ = read(ready[0], &byte, 1) == 1;
  close(ready[0]);
}

void OtherProcess::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace tovrin::host
