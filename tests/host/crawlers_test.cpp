#include "host/crawlers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

/// A process that has said what it was told to say and now waits. Killed with the object.
class WaitingProcess {
 public:
  WaitingProcess(const std::filesystem::path& program, std::vector<std::string> words) {
    words.insert(words.begin(), program.filename());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0)
      throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      execv(program.c_str(), arguments.data());
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
    listen();
  }
  ~WaitingProcess() {
    close(input_);  // ends whoever reads it, a child too
    close(output_);
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  WaitingProcess(const WaitingProcess&) = delete;
  WaitingProcess& operator=(const WaitingProcess&) = delete;

  /// Gives it a line and waits until it says something more.
  void goOn() {
    if (write(input_, "\n", 1) != 1) throw std::runtime_error("the process is gone");
    listen();
  }

  pid_t id() const { return process_; }
  const std::string& said() const { return said_; }

 private:
  void listen() {
    said_.clear();
    char byte = 0;
    while (read(output_, &byte, 1) == 1 && byte != '\n') said_ += byte;
  }

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string said_;
};

const std::string kSayAndWait = "echo ready; read line";
/// Says the number of a child that waits.
const std::string kStartAChild = "/bin/sh -c 'echo $$; read line'; :";

class CrawlerPrograms : public testing::Test {
 protected:
  /// A shell that goes by another name, running `commands`, with one more argument.
  std::unique_ptr<WaitingProcess> run(const std::string& name, const std::string& commands = kSayAndWait,
                                      const std::string& argument = "x") const {
    const auto program = scratch_ / name;
    std::filesystem::copy_file("/bin/dash", program);
    return std::make_unique<WaitingProcess>(program, std::vector<std::string>{"-c", commands, argument});
  }
  bool isCrawler(const WaitingProcess& process) { return crawlers_.opener(process.id(), O_RDONLY).isCrawler; }

  ScratchFolder scratch_;
  Crawlers crawlers_{{"my-backup*"}};
};

TEST_F(CrawlerPrograms, areKnownByTheirNames) {
  for (const std::string name : {"tumblerd", "tracker-extract-3", "localsearch-extractor-3", "baloo_file",
                                 "gdk-pixbuf-thumbnailer", "ffmpegthumbnailer", "updatedb.plocate", "recollindex"})
    EXPECT_TRUE(isCrawler(*run(name))) << name;
}

TEST_F(CrawlerPrograms, areNotTheProgramsOfAUser) {
  for (const std::string name : {"nautilus", "localsearch", "cp", "evince", "recoll", "tumblerd2"})
    EXPECT_FALSE(isCrawler(*run(name))) << name;
}

TEST_F(CrawlerPrograms, ofKDEAreKnownByTheirModule) {
  EXPECT_TRUE(isCrawler(*run("kioworker", kSayAndWait, "/usr/lib/x86_64-linux-gnu/qt6/plugins/kf6/kio/thumbnail.so")));
  EXPECT_TRUE(isCrawler(*run("kioslave5", kSayAndWait, "/usr/lib/x86_64-linux-gnu/qt5/plugins/kf5/kio/thumbnail.so")));
  std::filesystem::remove(scratch_ / "kioworker");
  EXPECT_FALSE(isCrawler(*run("kioworker", kSayAndWait, "/usr/lib/x86_64-linux-gnu/qt6/plugins/kf6/kio/kio_file.so")));
}

TEST_F(CrawlerPrograms, areThoseThatTheUserNames) {
  EXPECT_TRUE(isCrawler(*run("my-backup-tool")));
  EXPECT_FALSE(Crawlers({}).opener(run("my-backup-2")->id(), O_RDONLY).isCrawler);
}

TEST_F(CrawlerPrograms, areScriptsByTheScriptsName) {
  const auto script = scratch_ / "icon-thumbnailer";
  {
    std::ofstream file(script);
    file << "#!/bin/sh -e\n" << kSayAndWait << '\n';
  }
  std::filesystem::permissions(script, std::filesystem::perms::owner_all);
  const WaitingProcess process(script, {});
  EXPECT_EQ(programName(process.id()), "icon-thumbnailer");
  EXPECT_TRUE(isCrawler(process));
}

TEST_F(CrawlerPrograms, areWhatACrawlerStarts) {
  const auto indexer = run("recollindex", kStartAChild);
  const pid_t child = std::stoi(indexer->said());
  EXPECT_NE(programName(child), "recollindex");
  EXPECT_TRUE(crawlers_.opener(child, O_RDONLY).isCrawler);
}

TEST_F(CrawlerPrograms, areNotWhatAProgramStartsThatTheUserNames) {
  const auto named = run("my-backup", kStartAChild);
  EXPECT_FALSE(crawlers_.opener(std::stoi(named->said()), O_RDONLY).isCrawler);
}

TEST_F(CrawlerPrograms, areKnownAfterAnUpgradeRemovedThem) {
  const auto process = run("tumblerd");
  std::filesystem::remove(scratch_ / "tumblerd");
  EXPECT_EQ(programName(process->id()), "tumblerd");
  EXPECT_TRUE(isCrawler(*process));
}

TEST_F(CrawlerPrograms, areWhoeverLeavesNoTrace) {
  EXPECT_TRUE(crawlers_.opener(getpid(), O_RDONLY | O_NOATIME).isCrawler);
  EXPECT_FALSE(crawlers_.opener(getpid(), O_RDONLY).isCrawler);
}

TEST_F(CrawlerPrograms, areRememberedUntilTheProcessRunsAnother) {
  const std::filesystem::path indexer = scratch_ / "tumblerd";
  std::filesystem::copy_file("/bin/dash", indexer);
  const auto process = run("cp", kSayAndWait + "; exec '" + indexer.string() + "' -c '" + kSayAndWait + "'");
  for (int open = 0; open < 3; ++open) EXPECT_FALSE(isCrawler(*process));
  EXPECT_EQ(crawlers_.opener(process->id(), O_RDONLY).program, "cp");
  process->goOn();
  for (int open = 0; open < 3; ++open) EXPECT_TRUE(isCrawler(*process));
  EXPECT_EQ(crawlers_.opener(process->id(), O_RDONLY).program, "tumblerd");
}

TEST_F(CrawlerPrograms, keepNoMarkOfOneOpen) {
  EXPECT_TRUE(crawlers_.opener(getpid(), O_RDONLY | O_NOATIME).isCrawler);
  EXPECT_FALSE(crawlers_.opener(getpid(), O_RDONLY).isCrawler);
  EXPECT_TRUE(crawlers_.opener(getpid(), O_RDONLY | O_NOATIME).isCrawler);
}

TEST_F(CrawlerPrograms, areNotThoseThatNobodySees) {
  pid_t ended = 0;
  {
    const auto process = run("tumblerd");
    ended = process->id();
  }
  for (const pid_t process : {0, -1, ended}) {
    EXPECT_FALSE(crawlers_.opener(process, O_RDONLY).isCrawler) << process;
    EXPECT_EQ(programName(process), "") << process;
  }
}

/// The rows of the table: program and argument.
std::vector<std::pair<std::string, std::string>> documentedCrawlers() {
  std::ifstream file(TOVRIN_TEST_DATA "/../../docs/crawlers.md");
  std::vector<std::pair<std::string, std::string>> rows;
  const auto unquoted = [](std::string cell) {
    std::erase_if(cell, [](char c) { return c == '`' || c == ' '; });
    return cell;
  };
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("| `")) continue;
    std::istringstream cells(line.substr(1));
    std::string program;
    std::string argument;
    std::getline(cells, program, '|');
    std::getline(cells, argument, '|');
    rows.emplace_back(unquoted(program), unquoted(argument));
  }
  return rows;
}

TEST_F(CrawlerPrograms, areTheDocumentedOnes) {
  std::vector<std::pair<std::string, std::string>> builtIn;
  for (const auto& known : Crawlers::builtIn()) builtIn.emplace_back(known.program, known.argument);
  EXPECT_EQ(builtIn, documentedCrawlers());
}

}  // namespace
}  // namespace tovrin::host
