#include <fmt/core.h>

#include <cstdlib>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

/// The completions that the shell offers for the last of the words, one a line.
class BashCompletion : public Command {
 protected:
  std::string complete(const std::string& wordArray) {
    const std::filesystem::path script = work() / "complete.bash";
    const std::filesystem::path offered = work() / "offered";
    writeFile(script,
              fmt::format("tovrin() {{ '{}' \"$@\"; }}\n"
                          "source '{}'\n"
                          "export TOVRIN_CONTAINER='{}'\n"
                          "COMP_WORDS=({}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n"
                          "_tovrin\n"
                          "printf '%s\\n' \"${{COMPREPLY[@]}}\" >'{}'\n",
                          TOVRIN_PROGRAM, TOVRIN_BASH_COMPLETION, container().string(), wordArray, offered.string()));
    EXPECT_EQ(std::system(("bash '" + script.string() + "'").c_str()), 0);
    return readFile(offered);
  }
};

TEST_F(BashCompletion, offersCommandsAndCalls) {
  EXPECT_EQ(complete("tovrin ''"), "mount\nunmount\nls\ncat\nfetch\nput\nstatus\nevict\ndoctor\ninspect\n");
  EXPECT_EQ(complete("tovrin --container /x f"), "fetch\n");
  EXPECT_EQ(complete("tovrin inspect l"), "live\nlzfse\n");
}

TEST_F(BashCompletion, offersTheOptionsOfTheCommand) {
  EXPECT_EQ(complete("tovrin status --"), "--help\n--container\n--follow\n--json\n");
  EXPECT_EQ(complete("tovrin cat --j"), "\n");
  EXPECT_EQ(complete("tovrin mount --cr"), "--crawlers\n--crawler\n");
  EXPECT_EQ(complete("tovrin mount --crawlers ''"), "deny\nallow\n");
  EXPECT_EQ(complete("tovrin unmount --l"), "--lazy\n");
}

TEST_F(BashCompletion, offersMountOptionsBehindACommaToo) {
  EXPECT_EQ(complete("tovrin mount -o allow_"), "allow_other\nallow_root\n");
  EXPECT_EQ(complete("tovrin mount -o ro,owner"), "ro,owner=manifest\n");
}

TEST_F(BashCompletion, offersFoldersToMountAt) {
  std::filesystem::create_directory(work() / "warps");
  EXPECT_EQ(complete("tovrin mount --cache-size 1G " + (work() / "war").string()), (work() / "warps").string() + "\n");
}

TEST_F(BashCompletion, offersPathsOfTheDomain) {
  installPhotos();
  EXPECT_EQ(complete("tovrin ls /"), "/Warped\\ Files/\n");
  EXPECT_EQ(complete("tovrin cat '/Warped\\ Files/Users/ann/Photos/'"),
            "/Warped\\ Files/Users/ann/Photos/a.jpg\n/Warped\\ Files/Users/ann/Photos/link\n"
            "/Warped\\ Files/Users/ann/Photos/notes\n/Warped\\ Files/Users/ann/Photos/sub/\n");
  EXPECT_EQ(complete("tovrin fetch -o x '/Warped\\ Files/Users/ann/Photos/n'"),
            "/Warped\\ Files/Users/ann/Photos/notes\n");
  EXPECT_EQ(complete("tovrin evict x '/Warped\\ Files/Users/ann/Photos/n'"),
            "/Warped\\ Files/Users/ann/Photos/notes\n");
  EXPECT_EQ(complete("tovrin ls /nope/"), "\n");
}

}  // namespace
}  // namespace tovrin
