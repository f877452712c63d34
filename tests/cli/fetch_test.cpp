#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

class Fetch : public Command {
 protected:
  void SetUp() override {
    installPhotos();
    startWorker();
  }
};
class Cat : public Fetch {};

const std::string kChecksumError =
    "{\"error\":{\"domain\":\"NSCocoaErrorDomain\",\"code\":259,"
    "\"localizedDescription\":\"The downloaded warped file did not match its manifest checksum.\"}}\n";

TEST_F(Fetch, putsTheFileHereUnderItsOwnName) {
  const Ended ended = run({"fetch", kPhotos + "/notes"});
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "");
  EXPECT_EQ(readFile(work() / "notes"), kNoteBytes);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Fetch, givesTheFileItsPermissionsAndModificationTime) {
  ASSERT_EQ(run({"fetch", entryID("/Users/ann/Photos/notes")}).status, 0);
  struct stat status{};
  ASSERT_EQ(stat((work() / "notes").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
  EXPECT_EQ(status.st_mtim.tv_sec, 1600000000);
}

TEST_F(Fetch, putsTheFileWhereItIsTold) {
  ASSERT_EQ(run({"fetch", kPhotos + "/notes", "-o", "elsewhere"}).status, 0);
  EXPECT_EQ(readFile(work() / "elsewhere"), kNoteBytes);
  std::filesystem::create_directories(work() / "folder");
  ASSERT_EQ(run({"fetch", kPhotos + "/notes", "--output", "folder"}).status, 0);
  EXPECT_EQ(readFile(work() / "folder/notes"), kNoteBytes);
}

TEST_F(Fetch, printsTheFileAndItsItemAsJSON) {
  const Ended ended = run({"fetch", "--json", kPhotos + "/notes", "-o", "x"});
  std::string item = run({"inspect", "item", entryID("/Users/ann/Photos/notes")}).out;
  item.pop_back();
  EXPECT_EQ(ended.out, fmt::format("{{\"file\":\"{}\",\"item\":{}}}\n", (work() / "x").string(), item));
}

TEST_F(Fetch, replacesAFileThatIsThereInOneStep) {
  writeFile(work() / "notes", "old and longer than the new contents");
  std::filesystem::create_hard_link(work() / "notes", work() / "other name");
  ASSERT_EQ(run({"fetch", kPhotos + "/notes"}).status, 0);
  EXPECT_EQ(readFile(work() / "notes"), kNoteBytes);
  EXPECT_EQ(readFile(work() / "other name"), "old and longer than the new contents");
}

TEST_F(Fetch, replacesTheFileThatALinkPointsTo) {
  writeFile(work() / "real", "old");
  std::filesystem::create_symlink("real", work() / "link");
  ASSERT_EQ(run({"fetch", kPhotos + "/notes", "-o", "link"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(work() / "link"));
  EXPECT_EQ(readFile(work() / "real"), kNoteBytes);
}

TEST_F(Fetch, writesIntoADeviceInsteadOfReplacingIt) {
  ASSERT_EQ(run({"fetch", kPhotos + "/notes", "-o", "/dev/null"}).status, 0);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  EXPECT_EQ(run({"fetch", kPhotos + "/notes", "-o", "/dev/stdout"}).out, kNoteBytes);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Fetch, intoADeviceKeepsItsPermissionsOwnerAndTimes) {
  struct stat before{}, after{};
  ASSERT_EQ(stat("/dev/zero", &before), 0);
  ASSERT_EQ(run({"fetch", kPhotos + "/notes", "-o", "/dev/zero"}).status, 0);
  ASSERT_EQ(stat("/dev/zero", &after), 0);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_NE(after.st_mtim.tv_sec, 1600000000);
}

TEST_F(Fetch, neverReplacesADeviceOrPipeByALink) {
  // Links of this test's own, so that nothing of the machine is lost if the rule is broken.
  ASSERT_EQ(mkfifo((work() / "pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", work() / "to a device");
  std::filesystem::create_symlink("/proc/self/fd/1", work() / "to a descriptor");
  std::filesystem::create_symlink("to a descriptor", work() / "to the link");
  for (const std::string name : {"pipe", "to a device", "to a descriptor", "to the link"}) {
    const Ended ended = run({"fetch", kPhotos + "/link", "-o", name});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "tovrin: " + (work() / name).string() +
                             ": A symbolic link cannot be put into a device, pipe or socket.\n");
  }
  EXPECT_TRUE(std::filesystem::is_fifo(work() / "pipe"));
  EXPECT_EQ(std::filesystem::read_symlink(work() / "to a device"), "/dev/null");
  EXPECT_EQ(std::filesystem::read_symlink(work() / "to a descriptor"), "/proc/self/fd/1");
  EXPECT_EQ(std::filesystem::read_symlink(work() / "to the link"), "to a descriptor");
  EXPECT_EQ(countFiles(work()), 4u);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Fetch, ofALinkOntoALinkReplacesTheLinkAndNotItsFile) {
  writeFile(work() / "a.jpg", "mine");
  ASSERT_EQ(run({"fetch", kPhotos + "/link"}).status, 0);
  ASSERT_EQ(run({"fetch", kPhotos + "/link"}).status, 0);
  EXPECT_EQ(std::filesystem::read_symlink(work() / "link"), "a.jpg");
  EXPECT_EQ(readFile(work() / "a.jpg"), "mine");
}

TEST_F(Fetch, findsAnImpossibleTargetBeforeItDownloads) {
  std::filesystem::create_directories(work() / "folder/notes");
  writeFile(work() / "file", "mine");
  for (const char* target : {"no such folder/notes", "file/notes", "folder"}) {
    const Ended ended = run({"fetch", kPhotos + "/notes", "-o", target});
    EXPECT_EQ(ended.status, 1) << target;
    EXPECT_TRUE(ended.err.starts_with("tovrin: " + (work() / target).string())) << ended.err;
  }
  EXPECT_EQ(worker_.requests().size(), 0u);
}

TEST_F(Fetch, leavesATargetAndNothingElseWhenItFails) {
  writeFile(work() / "notes", "old");
  ASSERT_TRUE(worker_.addFault("flip at=0 route=object"));
  const Ended ended = run({"fetch", "--json", kPhotos + "/notes"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, kChecksumError);
  EXPECT_EQ(readFile(work() / "notes"), "old");
  EXPECT_EQ(countFiles(work()), 1u);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Fetch, leavesNothingWhenTheTargetCannotBeWritten) {
  const Ended ended = run({"fetch", kPhotos + "/notes", "-o", "no such folder/notes"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_NE(ended.err.find("no such folder/notes: "), std::string::npos) << ended.err;
  EXPECT_EQ(temporaryFiles(), 0u);
  EXPECT_EQ(countFiles(work()), 0u);
}

TEST_F(Fetch, makesALinkOfALink) {
  ASSERT_EQ(run({"fetch", kPhotos + "/link"}).status, 0);
  EXPECT_EQ(std::filesystem::read_symlink(work() / "link"), "a.jpg");
  writeFile(work() / "file", "old");
  ASSERT_EQ(run({"fetch", kPhotos + "/link", "-o", "file"}).status, 0);
  EXPECT_EQ(std::filesystem::read_symlink(work() / "file"), "a.jpg");
  EXPECT_EQ(worker_.requests().size(), 0u);
}

/// The provider's temporary directory and the target are then two file systems, where the machine has a second one.
class FetchToAnotherFileSystem : public Fetch {
 protected:
  void SetUp() override {
    Fetch::SetUp();
    std::string pattern = "/dev/shm/tovrin-test-XXXXXX";
    struct stat here{}, there{};
    if (mkdtemp(pattern.data()) == nullptr) GTEST_SKIP() << "no second file system";
    other_ = pattern;
    stat(work().c_str(), &here);
    stat(other_.c_str(), &there);
    if (here.st_dev == there.st_dev) GTEST_SKIP() << "no second file system";
  }
  void TearDown() override {
    std::error_code ignored;
    if (!other_.empty()) std::filesystem::remove_all(other_, ignored);
  }

  std::filesystem::path other_;
};

TEST_F(FetchToAnotherFileSystem, keepsHolesPermissionsAndTimes) {
  constexpr off_t kSize = 8 << 20;
  constexpr off_t kDataAt = 4 << 20;
  const std::string data(4096, 'd');
  ManifestSpec warp{.warpID = "W2", .originalFolderPath = "/Users/ann/Disks"};
  EntrySpec disk = fileEntry("/Users/ann/Disks/disk", data, "disk");
  std::string whole(kSize, '\0');
  whole.replace(kDataAt, data.size(), data);
  disk.contentChecksumSHA256 = fileEntry("", whole, "").contentChecksumSHA256;
  disk.size = kSize;
  disk.storedSize = 4096;
  disk.sparseExtents = {{kDataAt, 0, 4096}};
  disk.posixPermissions = 0440;
  disk.modificationTimeNanoseconds = -1'500'000'000;  // before 1970
  warp.entries = {disk};
  installManifest(platform_, warp);
  ASSERT_TRUE(worker_.putObject("tovrin", "disk", data));

  const Ended ended = run({"fetch", "/Warped Files/Users/ann/Disks/disk", "-o", (other_ / "disk").string()});
  ASSERT_EQ(ended.status, 0) << ended.err;
  EXPECT_TRUE(readFile(other_ / "disk") == whole);
  struct stat status{};
  ASSERT_EQ(stat((other_ / "disk").c_str(), &status), 0);
  EXPECT_LE(status.st_blocks * 512, 1 << 20);
  EXPECT_EQ(status.st_mode & 07777, 0440u);
  EXPECT_EQ(status.st_mtim.tv_sec, -2);
  EXPECT_EQ(status.st_mtim.tv_nsec, 500'000'000);
  EXPECT_EQ(countFiles(other_), 1u);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(FetchToAnotherFileSystem, makesALinkOfALink) {
  ASSERT_EQ(run({"fetch", kPhotos + "/link", "-o", (other_ / "link").string()}).status, 0);
  EXPECT_EQ(std::filesystem::read_symlink(other_ / "link"), "a.jpg");
  EXPECT_EQ(countFiles(other_), 1u);
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Fetch, ofWhatCannotBeOpenedFailsWithTheExtensionsError) {
  for (const std::string item : {"warped-root", "bogus", "manifest:W1", "entry:W1:L25vcGU"}) {
    const Ended ended = run({"fetch", "--json", item});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err,
              "{\"error\":{\"domain\":\"NSCocoaErrorDomain\",\"code\":262,"
              "\"localizedDescription\":\"Only warped files can be opened on demand.\"}}\n");
  }
  EXPECT_EQ(run({"fetch", kPhotos + "/sub"}).err,
            "tovrin: " + kPhotos + "/sub: Only warped files can be opened on demand.\n");
}

TEST_F(Fetch, tellsWhichKeyOfTheConnectionFileIsWrong) {
  writeFile(warp() / "renterd-connection.json",
            R"({"httpAddress":7,"apiPassword":"x","updatedAt":"2025-03-01T12:00:00Z"})");
  const Ended json = run({"fetch", "--json", kPhotos + "/notes"});
  EXPECT_EQ(json.status, 1);
  const auto error = parsed(json.err);
  EXPECT_STREQ(error["error"]["domain"].GetString(), "NSCocoaErrorDomain");
  EXPECT_EQ(error["error"]["code"].GetInt(), 4864);
  ASSERT_EQ(error["error"]["codingPath"].Size(), 1u);
  EXPECT_STREQ(error["error"]["codingPath"][0].GetString(), "httpAddress");
  const Ended plain = run({"fetch", kPhotos + "/notes"});
  EXPECT_EQ(plain.err, "tovrin: " + kPhotos + "/notes: httpAddress: " + error["error"]["debugDescription"].GetString() +
                           " (renterd-connection.json)\n");
}

TEST_F(Fetch, drawsItsProgressOnATerminalOnly) {
  const auto command = start({"fetch", kPhotos + "/notes"}, RunningCommand::ErrorOutput::terminal);
  ASSERT_EQ(command->finish().status, 0);

  ASSERT_TRUE(worker_.setAccounts("3"));
  const auto waiting = start({"fetch", kPhotos + "/notes"}, RunningCommand::ErrorOutput::terminal);
  EXPECT_TRUE(waiting->waitForErrorOutput("  0% ["));
  EXPECT_TRUE(waiting->waitForErrorOutput("Preparing Ombrel Cloud"));
  ASSERT_TRUE(worker_.setAccounts("12"));
  const Ended ended = waiting->finish();
  EXPECT_EQ(ended.status, 0);
  EXPECT_TRUE(ended.err.ends_with("\r\x1b[K")) << "the line is erased at the end";
}

TEST_F(Fetch, drawsNoWiderThanTheTerminalAndWithoutColourWhenAsked) {
  environment_.push_back("NO_COLOR=1");
  ASSERT_TRUE(worker_.setAccounts("3"));
  const auto command = start({"fetch", kPhotos + "/notes"}, RunningCommand::ErrorOutput::terminal);
  ASSERT_TRUE(command->waitForErrorOutput("Preparing"));
  ASSERT_TRUE(worker_.setAccounts("12"));
  std::string text = command->finish().err;
  EXPECT_EQ(text.find("\x1b[3"), std::string::npos);
  const std::string erase = "\r\x1b[K";
  while (!text.empty()) {
    const std::string line = text.substr(0, text.find(erase));
    const auto bytesBehindCharacters = std::ranges::count_if(line, [](char byte) { return (byte & 0xC0) == 0x80; });
    EXPECT_LT(line.size() - static_cast<std::size_t>(bytesBehindCharacters), 60u) << line;
    text.erase(0, line.size() + erase.size());
  }
}

TEST_F(Cat, printsTheBytesAndNothingElse) {
  const Ended ended = run({"cat", kPhotos + "/notes"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, kNoteBytes);
  EXPECT_EQ(ended.err, "");
  EXPECT_EQ(run({"cat", entryID("/Users/ann/Photos/a.jpg")}).out, "picture");
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Cat, printsNothingWhenItFails) {
  ASSERT_TRUE(worker_.addFault("cut after=5 route=object"));
  const Ended ended = run({"cat", kPhotos + "/notes"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_TRUE(ended.err.starts_with("tovrin: " + kPhotos + "/notes: ")) << ended.err;
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Cat, ofALinkSaysWhereItPoints) {
  const Ended ended = run({"cat", kPhotos + "/link"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "tovrin: " + kPhotos + "/link: It is a symbolic link to “a.jpg”.\n");
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Cat, ofAFolderFails) {
  EXPECT_EQ(run({"cat", kPhotos}).err, "tovrin: " + kPhotos + ": Only warped files can be opened on demand.\n");
}

}  // namespace
}  // namespace tovrin
