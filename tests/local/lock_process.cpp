#include "local/lock_process.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace tovrin {
namespace {

struct flock wholeFile(short type) {
  struct flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

bool takeLock(const char* file, std::vector<int>& held) {
  const int descriptor = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  struct flock lock = wholeFile(F_WRLCK);
  if (descriptor < 0 || fcntl(descriptor, F_SETLK, &lock) != 0) return false;
  held.push_back(descriptor);
  return true;
}

bool sawLock(const char* file) {
  const int descriptor = open(file, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct flock lock = wholeFile(F_WRLCK);
  const bool isLocked = fcntl(descriptor, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
  close(descriptor);
  return isLocked;
}

[[noreturn]] void serve(int socket) {
  std::vector<int> held;
  std::array<char, 4096> request;
  for (;;) {
    const ssize_t length = recv(socket, request.data(), request.size() - 1, 0);
    if (length <= 0) _exit(0);
    request[static_cast<std::size_t>(length)] = '\0';
    const char* file = request.data() + 1;
    char answer = 1;
    if (request[0] == 'L') answer = takeLock(file, held) ? 1 : 0;
    if (request[0] == 'Q') answer = sawLock(file) ? 1 : 0;
    if (request[0] == 'U') {
      for (const int descriptor : held) close(descriptor);
      held.clear();
    }
    if (send(socket, &answer, 1, 0) != 1) _exit(1);
  }
}

}  // namespace

LockProcess::LockProcess() {
  std::array<int, 2> sockets;
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets.data()) != 0) throw std::runtime_error("no socket");
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("no process");
  if (process_ == 0) {
    close(sockets[0]);
    serve(sockets[1]);
  }
  close(sockets[1]);
  socket_ = sockets[0];
}

LockProcess::~LockProcess() {
  close(socket_);
  waitpid(process_, nullptr, 0);
}

bool LockProcess::request(char command, const std::filesystem::path& file) {
  if (command == 'L') std::filesystem::create_directories(file.parent_path());
  const std::string text = command + file.string();
  char answer = 0;
  if (send(socket_, text.data(), text.size(), 0) < 0 || recv(socket_, &answer, 1, 0) != 1)
    throw std::runtime_error("the other process is gone");
  return answer == 1;
}

}  // namespace tovrin
