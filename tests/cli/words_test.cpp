#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

using Words = Command;

bool fitsIntoEightyColumns(const std::string& text) {
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (end - start >= 80) return false;
    start = end + 1;
  }
  return true;
}

TEST_F(Words, areNeeded) {
  const Ended ended = run({});
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.out, "");
  EXPECT_NE(ended.err.find("Usage: tovrin [OPTIONS] COMMAND\n"), std::string::npos);
  EXPECT_NE(ended.err.find("inspect"), std::string::npos);
}

TEST_F(Words, thatAreWrongAreToldWithTheUsageAndStatusTwo) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> calls{
      {{"bogus"}, "there is no command “tovrin bogus”\nUsage: tovrin [OPTIONS] COMMAND\n"},
      {{"help", "bogus"}, "there is no command “tovrin bogus”\nUsage: tovrin [OPTIONS] COMMAND\n"},
      {{"bogus", "--help"}, "there is no command “tovrin bogus”\n"},
      {{"help", "inspect", "bogus"}, "there is no command “tovrin inspect bogus”\n"},
      {{"--bogus"}, "there is no option “--bogus”\nUsage: tovrin "},
      {{"--container"}, "Usage: tovrin "},
      {{"--container", "", "ls"}, "--container: It names no folder.\nUsage: tovrin ls "},
      {{"ls", "--container", ""}, "--container: It names no folder.\nUsage: tovrin ls "},
      {{"ls", "--bogus"}, "--bogus\nUsage: tovrin ls [OPTIONS] [ITEM]\n"},
      {{"ls", "/", "/"}, "Usage: tovrin ls [OPTIONS] [ITEM]\n"},
      {{"cat"}, "Usage: tovrin cat [OPTIONS] ITEM\n"},
      {{"cat", "--json", "x"}, "Usage: tovrin cat "},
      {{"fetch"}, "Usage: tovrin fetch [OPTIONS] ITEM\n"},
      {{"fetch", "x", "-o"}, "Usage: tovrin fetch "},
      {{"put", "x"}, "Usage: tovrin put [OPTIONS] ITEM FILE\n"},
      {{"status", "x"}, "Usage: tovrin status [OPTIONS]\n"},
      {{"doctor", "x"}, "Usage: tovrin doctor [OPTIONS]\n"},
      {{"inspect"}, "“tovrin inspect” needs a command\nUsage: tovrin inspect [OPTIONS] COMMAND\n"},
      {{"inspect", "bogus"}, "there is no command “tovrin inspect bogus”\n"},
      {{"inspect", "item"}, "Usage: tovrin inspect item [OPTIONS] ID\n"},
      {{"inspect", "anchor", "x"}, "Usage: tovrin inspect anchor [OPTIONS]\n"},
      {{"inspect", "changes", "x"}, "Usage: tovrin inspect changes [OPTIONS] ID ANCHOR\n"},
      {{"inspect", "lzfse", "x"}, "Usage: tovrin inspect lzfse [OPTIONS] FILE -o OUT\n"},
  };
  for (const auto& [words, message] : calls) {
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, 2) << message;
    EXPECT_EQ(ended.out, "") << message;
    EXPECT_NE(ended.err.find(message), std::string::npos) << message << "\n" << ended.err;
  }
}

TEST_F(Words, thatAreWrongNeverReachATerminalRaw) {
  EXPECT_EQ(run({"\x1b[31mred"}).err.find('\x1b'), std::string::npos);
}

TEST_F(Words, askForHelpEverywhere) {
  const std::vector<std::vector<std::string>> calls{
      {},          {"ls"},         {"cat"},      {"fetch"}, {"put"},      {"status"},     {"doctor"},
      {"mount"},   {"unmount"},    {"inspect"},  {"item"},  {"children"}, {"anchor"},     {"changes"},
      {"visible"}, {"identifier"}, {"manifest"}, {"live"},  {"journal"},  {"tombstones"}, {"lzfse"},
  };
  for (std::size_t i = 0; i < calls.size(); ++i) {
    std::vector<std::string> words = calls[i];
    if (i >= 10) words.insert(words.begin(), "inspect");
    words.emplace_back("--help");
    const Ended ended = run(words);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_NE(ended.out.find("Usage: tovrin"), std::string::npos) << ended.out;
    EXPECT_NE(ended.out.find("--container DIR"), std::string::npos) << ended.out;
    EXPECT_NE(ended.out.find("Example:\n  tovrin "), std::string::npos) << ended.out;
    EXPECT_TRUE(fitsIntoEightyColumns(ended.out)) << ended.out;
  }
}

TEST_F(Words, askForHelpWithTheWordHelp) {
  EXPECT_EQ(run({"help"}).out, run({"--help"}).out);
  EXPECT_EQ(run({"help", "fetch"}).out, run({"fetch", "--help"}).out);
  EXPECT_EQ(run({"help", "help"}).out, run({"--help"}).out);
}

TEST_F(Words, ofHelpThatCannotBeWrittenFail) {
  const std::string call = "'" TOVRIN_PROGRAM "' --help >/dev/full 2>'" + (work() / "err").string() + "'";
  EXPECT_EQ(WEXITSTATUS(std::system(call.c_str())), 1);
  EXPECT_TRUE(readFile(work() / "err").starts_with("tovrin: standard output: "));
}

TEST_F(Words, askForTheVersion) {
  const Ended ended = run({"--version"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_TRUE(ended.out.starts_with("tovrin ")) << ended.out;
  EXPECT_NE(ended.out.find("\nlibfuse 3."), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("FUSE kernel interface version 7."), std::string::npos) << ended.out;
}

TEST_F(Words, mayNameTheContainerBeforeOrBehindTheCommand) {
  installPhotos();
  std::erase_if(environment_, [](const std::string& variable) { return variable.starts_with("TOVRIN_CONTAINER="); });
  EXPECT_EQ(run({"inspect", "visible"}).out, "[]\n");
  EXPECT_EQ(run({"--container", container().string(), "inspect", "visible"}).out, "[\"W1\"]\n");
  EXPECT_EQ(run({"inspect", "visible", "--container", container().string()}).out, "[\"W1\"]\n");
}

TEST_F(Words, withoutAContainerMeanTheUsersApplicationSupport) {
  installPhotos();
  environment_ = {"HOME=" + (scratch_ / "home").string()};
  std::filesystem::create_directories(scratch_ / "home/.local/share/Tovrin");
  std::filesystem::rename(warp(), scratch_ / "home/.local/share/Tovrin/Warp");
  EXPECT_EQ(run({"inspect", "visible"}).out, "[\"W1\"]\n");
  environment_.push_back("XDG_DATA_HOME=" + (scratch_ / "data").string());
  EXPECT_EQ(run({"inspect", "visible"}).out, "[]\n");
}

TEST_F(Words, ofAnEmptyVariableCountAsNoContainer) {
  environment_ = {"HOME=" + (scratch_ / "home").string(), "TOVRIN_CONTAINER="};
  EXPECT_EQ(run({"inspect", "visible"}).out, "[]\n");
}

}  // namespace
}  // namespace tovrin
