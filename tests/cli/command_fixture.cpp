#include "cli/command_fixture.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

#include "provider/identifier.h"

namespace tovrin {

namespace {

constexpr auto kPatience = std::chrono::seconds(60);

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

struct Ends {
  int reading = -1;
  int writing = -1;
};

Ends makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {ends[0], ends[1]};
}

Ends makeTerminal(unsigned short columns) {
  Ends ends;
  winsize size{24, columns, 0, 0};
  if (openpty(&ends.reading, &ends.writing, nullptr, nullptr, &size) != 0) throw std::runtime_error("no terminal");
  fcntl(ends.reading, F_SETFD, FD_CLOEXEC);
  fcntl(ends.writing, F_SETFD, FD_CLOEXEC);
  return ends;
}

}  // namespace

RunningCommand::RunningCommand(std::vector<std::string> words, const Options& options) {
  words.insert(words.begin(), TOVRIN_PROGRAM);
  std::vector<std::string> environment = options.environment;
  const std::vector<char*> arguments = pointers(words);
  const std::vector<char*> variables = pointers(environment);
  const Ends out = options.output == Output::terminal ? makeTerminal(100) : makePipe();
  const Ends err = options.errorOutput == ErrorOutput::terminal ? makeTerminal(60) : makePipe();
  process_ = fork();
  if (process_ == 0) {
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(out.writing, STDOUT_FILENO);
    dup2(err.writing, STDERR_FILENO);
    if (chdir(options.directory.c_str()) == 0) execve(TOVRIN_PROGRAM, arguments.data(), variables.data());
    _exit(127);
  }
  close(out.writing);
  close(err.writing);
  out_ = out.reading;
  err_ = err.reading;
}

RunningCommand::~RunningCommand() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  close(out_);
  close(err_);
}

void RunningCommand::signal(int number) const { kill(process_, number); }

/// False once both ends are closed.
bool RunningCommand::readSome(int milliseconds) {
  std::array<pollfd, 2> sources{pollfd{out_, POLLIN, 0}, pollfd{err_, POLLIN, 0}};
  poll(sources.data(), sources.size(), milliseconds);
  const std::array<std::string*, 2> texts{&ended_.out, &ended_.err};
  std::array<int*, 2> descriptors{&out_, &err_};
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (sources[i].fd < 0 || sources[i].revents == 0) continue;
    std::array<char, 65536> bytes;
    const ssize_t count = read(sources[i].fd, bytes.data(), bytes.size());
    if (count > 0) {
      texts[i]->append(bytes.data(), static_cast<std::size_t>(count));
    } else {
      close(*descriptors[i]);
      *descriptors[i] = -1;
    }
  }
  return out_ >= 0 || err_ >= 0;
}

bool RunningCommand::waitForOutput(std::string_view text) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (ended_.out.find(text) == std::string::npos) {
    if (!readSome(100) || std::chrono::steady_clock::now() > deadline) return false;
  }
  return true;
}

bool RunningCommand::waitForErrorOutput(std::string_view text) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (ended_.err.find(text) == std::string::npos) {
    if (!readSome(100) || std::chrono::steady_clock::now() > deadline) return false;
  }
  return true;
}

void RunningCommand::closeOutput() {
  close(out_);
  out_ = -1;
}

Ended RunningCommand::finish() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (readSome(100)) {
    if (std::chrono::steady_clock::now() < deadline) continue;
    ADD_FAILURE() << "the command did not end";
    kill(process_, SIGKILL);
    break;
  }
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  ended_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return ended_;
}

Command::Command() : worker_({.root = scratch_ / "objects"}) {
  std::filesystem::create_directories(work());
  std::filesystem::create_directories(runtime());
  environment_ = {"PATH=/usr/bin:/bin",
                  "TZ=UTC",
                  "TERM=xterm",
                  "HOME=" + (scratch_ / "home").string(),
                  "XDG_CACHE_HOME=" + (scratch_ / "cache").string(),
                  "XDG_RUNTIME_DIR=" + runtime().string(),
                  "TMPDIR=" + platform_.directories.temporary.string(),
                  "TOVRIN_CONTAINER=" + container().string()};
}

std::unique_ptr<RunningCommand> Command::start(std::vector<std::string> words,
                                               RunningCommand::ErrorOutput errorOutput) {
  return std::make_unique<RunningCommand>(std::move(words), RunningCommand::Options{work(), environment_, errorOutput});
}

std::unique_ptr<RunningCommand> Command::startOnTerminal(std::vector<std::string> words) {
  return std::make_unique<RunningCommand>(
      std::move(words), RunningCommand::Options{work(), environment_, RunningCommand::ErrorOutput::pipe,
                                                RunningCommand::Output::terminal});
}

void Command::startWorker() {
  ASSERT_TRUE(worker_.start());
  installConnection(platform_, worker_.address(), worker_.password());
}

void Command::installPhotos() {
  ManifestSpec warp;
  EntrySpec photo = fileEntry("/Users/ann/Photos/a.jpg", "picture", "photos/a");
  photo.modificationTimeNanoseconds = 1700000000500000000;
  EntrySpec notes = fileEntry("/Users/ann/Photos/notes", kNoteBytes, "photos/notes");
  notes.posixPermissions = 0640;
  notes.modificationTimeNanoseconds = 1600000000000000000;
  EntrySpec link;
  link.path = "/Users/ann/Photos/link";
  link.kind = "symlink";
  link.symlinkTarget = "a.jpg";
  EntrySpec folder;
  folder.path = "/Users/ann/Photos/sub";
  folder.kind = "directory";
  warp.entries = {photo, notes, link, folder, fileEntry("/Users/ann/Photos/sub/x.txt", "deep", "photos/x")};
  installManifest(platform_, warp);
  ASSERT_TRUE(worker_.putObject("tovrin", "photos/a", "picture"));
  ASSERT_TRUE(worker_.putObject("tovrin", "photos/notes", kNoteBytes));
  ASSERT_TRUE(worker_.putObject("tovrin", "photos/x", "deep"));
}

std::size_t Command::temporaryFiles() const {
  return countFiles(scratch_ / "cache" / "tovrin" / "TovrinFileProvider") + countFiles(platform_.directories.temporary);
}

std::string entryID(std::string_view relativePath) { return entryIdentifier("W1", relativePath); }

rapidjson::Document parsed(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str());
  EXPECT_FALSE(document.HasParseError()) << text;
  return document;
}

std::vector<std::string> fileNamesIn(const std::string& itemsJSON) {
  const rapidjson::Document items = parsed(itemsJSON);
  std::vector<std::string> names;
  if (!items.IsArray()) return names;
  for (const auto& item : items.GetArray()) names.emplace_back(item["filename"].GetString());
  return names;
}

}  // namespace tovrin
