#include <limits>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

/// Manifests as a broken or ill-meaning program may write them: shown safely or not at all.
class HostileManifest : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("good.txt", "good\n");
    makeWarp();
    mount();
  }

  void install(std::vector<EntrySpec> entries) {
    installManifest(platform_,
                    {.warpID = "Hostile", .originalFolderPath = "/Users/ann/Bad", .entries = std::move(entries)});
  }
  EntrySpec entry(std::string path) const {
    EntrySpec made{.path = std::move(path), .size = 1};
    made.payloadKey = "nowhere";
    return made;
  }
  bool isShown() const {
    return eventually([&] { return fs::exists(bad_); });
  }
  /// The mount lives and everything else is as it was.
  void expectUnharmed() {
    EXPECT_EQ(run("cat $D/good.txt && find $M >/dev/null && ls -R $M >/dev/null && echo fine").output, "good\nfine\n");
  }

  const fs::path bad_ = shownAt("/Users/ann/Bad");
};

TEST_F(HostileManifest, textsThatAreNoManifestAreNotShown) {
  const fs::path mirror = platform_.warpDirectory() / "ManifestMirror";
  const std::vector<std::string> texts{"",
                                       "null",
                                       "[]",
                                       "{",
                                       "\xff\xfe",
                                       std::string(1'000'000, '['),
                                       std::string(4096, '\0'),
                                       R"({"version":99999999999999999999})",
                                       R"({"version":1,"warpID":"../../x","entries":[]})"};
  for (std::size_t number = 0; number < texts.size(); ++number) {
    writeFile(mirror / ("Hostile" + std::to_string(number) + ".json"), texts[number]);
  }
  fs::create_directory(mirror / "folder.json");
  fs::create_symlink("/dev/zero", mirror / "endless.json");
  expectUnharmed();
  EXPECT_EQ(run("ls $D/..").output, "Docs\n");
}

TEST_F(HostileManifest, pathsThatLeadOutOfTheWarpHideTheWarp) {
  for (const char* path : {"/Users/ann/Bad/../Docs/good.txt", "/etc/passwd", "relative", "", "/Users/ann/Bad/./x"}) {
    install({entry(path)});
    expectUnharmed();
    EXPECT_FALSE(fs::exists(bad_ / "x")) << path;
    EXPECT_FALSE(fs::exists(shownAt("/etc/passwd"))) << path;
  }
}

TEST_F(HostileManifest, namesThatLinuxCannotHoldAreShownUnderOthers) {
  EntrySpec slash = entry("/Users/ann/Bad/a");
  slash.displayName = "../../../evil/name";
  EntrySpec dots = entry("/Users/ann/Bad/b");
  dots.displayName = "..";
  EntrySpec nothing = entry("/Users/ann/Bad/c");
  nothing.displayName = "";
  EntrySpec longest = entry("/Users/ann/Bad/d");
  longest.displayName = std::string(5000, 'n');
  EntrySpec line = entry("/Users/ann/Bad/e");
  line.displayName = "line\nbreak\x1b[31m";
  install({slash, dots, nothing, longest, line});
  ASSERT_TRUE(isShown());
  std::size_t shownNames = 0;
  for (const auto& shown : fs::directory_iterator(bad_)) {
    ++shownNames;
    EXPECT_LE(shown.path().filename().native().size(), 255U);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(shown.path()))) << shown.path();
  }
  EXPECT_EQ(shownNames, 5U);
  expectUnharmed();
}

TEST_F(HostileManifest, numbersOutOfReachAreShownSomehow) {
  EntrySpec large = entry("/Users/ann/Bad/large");
  large.size = std::numeric_limits<std::int64_t>::max();
  EntrySpec old = entry("/Users/ann/Bad/old");
  old.modificationTimeNanoseconds = std::numeric_limits<std::int64_t>::min();
  EntrySpec modes = entry("/Users/ann/Bad/modes");
  modes.posixPermissions = std::uint16_t{0xFFFF};
  install({large, old, modes});
  ASSERT_TRUE(isShown());
  EXPECT_EQ(run("cat '" + (bad_ / "large").string() + "'").status, 1);
  EXPECT_EQ(run("df $M >/dev/null && echo fine").output, "fine\n");
  expectUnharmed();
}

TEST_F(HostileManifest, linksLeadWhereTheySayAndNothingFollowsThem) {
  EntrySpec away{.path = "/Users/ann/Bad/away", .kind = "symlink", .symlinkTarget = "/etc/passwd"};
  EntrySpec circle{.path = "/Users/ann/Bad/circle", .kind = "symlink", .symlinkTarget = "circle"};
  EntrySpec empty{.path = "/Users/ann/Bad/empty", .kind = "symlink", .symlinkTarget = ""};
  EntrySpec endless{.path = "/Users/ann/Bad/endless", .kind = "symlink", .symlinkTarget = std::string(100'000, 'x')};
  install({away, circle, empty, endless, entry("/Users/ann/Bad/file")});
  ASSERT_TRUE(isShown());
  EXPECT_EQ(fs::read_symlink(bad_ / "away"), "/etc/passwd");
  EXPECT_EQ(run("cat '" + (bad_ / "circle").string() + "'").status, 1);
  EXPECT_TRUE(run("readlink -v '" + (bad_ / "endless").string() + "'").output.ends_with(": File name too long\n"));
  expectUnharmed();
}

}  // namespace

}  // namespace tovrin
