#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/warp_fixture.h"

namespace tovrin {
namespace {

class WarpManifest : public WarpTest {};

std::vector<std::string> namesOf(const TovrinWarpSharedManifest& manifest) {
  std::vector<std::string> names;
  for (const auto& entry : manifest.entries) names.emplace_back(entry.relativePath);
  return names;
}

TEST_F(WarpManifest, describesTheWarp) {
  writeFile(folder / "a", "bytes");
  const ProgramResult made =
      make({"--created-at", "2025-03-01T12:00:00Z", "--device-id", "laptop", "--display-name", "My Folder"});
  ASSERT_EQ(made.status, 0) << made.errors;
  EXPECT_EQ(made.errors, "");
  EXPECT_TRUE(made.output.starts_with("W1\n" + (container / "Warp/ManifestMirror/W1.json").native() + "\nfiles 1 "))
      << made.output;
  const auto warp = manifest();
  EXPECT_EQ(warp.version, 4);
  EXPECT_EQ(warp.warpID, "W1");
  EXPECT_EQ(warp.deviceID, "laptop");
  EXPECT_EQ(warp.manifestKey, "manifests/W1.json");
  EXPECT_EQ(warp.originalFolderPath, folder.native());
  EXPECT_EQ(warp.displayName, "My Folder");
  EXPECT_EQ(warp.status, TovrinWarpSharedStatus::verified);
  EXPECT_EQ(warp.createdAt, parseISO8601("2025-03-01T12:00:00Z"));
  EXPECT_EQ(warp.uploadedAt, warp.createdAt);
  EXPECT_EQ(warp.replacedAt, std::nullopt);
}

TEST_F(WarpManifest, describesEveryObjectAsItLiesOnDisk) {
  writeFile(folder / "sub/file", "bytes");
  std::filesystem::create_symlink("sub/../sub/file", folder / "link");
  ASSERT_EQ(::chmod((folder / "sub/file").c_str(), 04751), 0);
  const timespec times[2] = {{1, 0}, {1'700'000'000, 123'456'789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "sub/file").c_str(), times, 0), 0);
  const timespec before1970[2] = {{1, 0}, {-2, 500'000'000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (folder / "sub").c_str(), before1970, 0), 0);
  ASSERT_EQ(make().status, 0);

  struct stat attributes{};
  ASSERT_EQ(::stat((folder / "sub/file").c_str(), &attributes), 0);
  const auto warp = manifest();
  EXPECT_EQ(namesOf(warp), (std::vector<std::string>{folder / "link", folder / "sub", folder / "sub/file"}));
  const auto& file = entry(warp, "sub/file");
  EXPECT_EQ(file.kind, TovrinWarpSharedEntryKind::file);
  EXPECT_EQ(file.displayName, "file");
  EXPECT_EQ(file.size, 5);
  EXPECT_EQ(file.modificationTimeNanoseconds, 1'700'000'000'123'456'789);
  EXPECT_EQ(file.statusChangeTimeNanoseconds, attributes.st_ctim.tv_sec * 1'000'000'000 + attributes.st_ctim.tv_nsec);
  EXPECT_EQ(file.posixPermissions, 04751);
  EXPECT_EQ(file.ownerUserID, attributes.st_uid);
  EXPECT_EQ(file.ownerGroupID, attributes.st_gid);
  EXPECT_FALSE(file.rare->hardLinkIdentity);

  const auto& sub = entry(warp, "sub");
  EXPECT_EQ(sub.kind, TovrinWarpSharedEntryKind::directory);
  EXPECT_EQ(sub.size, 0);
  EXPECT_EQ(sub.modificationTimeNanoseconds, -1'500'000'000);

  const auto& link = entry(warp, "link");
  EXPECT_EQ(link.kind, TovrinWarpSharedEntryKind::symlink);
  EXPECT_EQ(link.rare->symlinkTarget, "sub/../sub/file");
  EXPECT_EQ(link.storedSize, 0);
}

TEST_F(WarpManifest, namesAnotherOriginalPath) {
  writeFile(folder / "a", "bytes");
  ASSERT_EQ(make({"--original-path", "/Users/ann/Photos"}).status, 0);
  EXPECT_EQ(namesOf(manifest()), (std::vector<std::string>{"/Users/ann/Photos/a"}));
  EXPECT_EQ(manifest().displayName, "Photos");
  ASSERT_EQ(make({"--original-path", "/", "--root-entry"}).status, 0);
  EXPECT_EQ(namesOf(manifest()), (std::vector<std::string>{"/", "/a"}));
  for (const char* path : {"Users", "/Users/", "/Users/../ann", "//Users"}) {
    EXPECT_EQ(make({"--original-path", path}).status, 2) << path;
  }
}

TEST_F(WarpManifest, hasAsManySamplesAsTold) {
  for (const char* name : {"a", "b", "c", "d", "e"}) writeFile(folder / "sub" / name, name);
  const auto samples = [&](const char* count) {
    EXPECT_EQ(make({"--samples", count}).status, 0);
    const auto warp = manifest();
    return std::vector<std::string>(warp.verificationSampleRelativePaths.begin(),
                                    warp.verificationSampleRelativePaths.end());
  };
  EXPECT_EQ(samples("0"), std::vector<std::string>());
  EXPECT_EQ(samples("2"), (std::vector<std::string>{folder / "sub/a", folder / "sub/c"}));
  EXPECT_EQ(samples("9").size(), 5u);
}

TEST_F(WarpManifest, leavesChecksumsOutWhenTold) {
  writeFile(folder / "a", "bytes");
  ASSERT_EQ(make({"--no-checksums"}).status, 0);
  EXPECT_FALSE(entry(manifest(), "a").contentChecksumSHA256);
}

TEST_F(WarpManifest, hasTheDatesThatItsStatusImplies) {
  writeFile(folder / "a", "bytes");
  const auto check = [&](const std::string& status, bool uploaded, bool replaced) {
    ASSERT_EQ(make({"--status", status, "--failure", "the reason"}).status, 0);
    const auto warp = manifest();
    EXPECT_EQ(rawValue(warp.status), status);
    EXPECT_EQ(warp.uploadedAt.has_value(), uploaded) << status;
    EXPECT_EQ(warp.replacedAt.has_value(), replaced) << status;
    EXPECT_EQ(warp.failureDescription, "the reason");
  };
  check("uploading", false, false);
  check("failed", false, false);
  check("verified", true, false);
  check("replaced", true, true);
  check("needsAttention", true, true);
}

TEST_F(WarpManifest, isReplacedAndItsFolderMarkedTogether) {
  writeFile(folder / "a", "bytes");
  for (int time = 0; time < 2; ++time) {  // the second time the marker is there already, and is no entry
    ASSERT_EQ(make({"--mark"}).status, 0);
    EXPECT_EQ(readFile(folder / ".tovrin-warped.json"), R"({"warpID":"W1"})");
    EXPECT_EQ(manifest().status, TovrinWarpSharedStatus::replaced);
    EXPECT_EQ(namesOf(manifest()), (std::vector<std::string>{folder / "a"}));
  }
}

TEST_F(WarpManifest, hasAFreshIdentityWithoutOne) {
  writeFile(folder / "a", "bytes");
  const auto made = runProgram({TOVRIN_WARP_PROGRAM, "make", "--container", container, "--objects", objects, folder});
  ASSERT_EQ(made.status, 0) << made.errors;
  const std::string warpID = made.output.substr(0, made.output.find('\n'));
  EXPECT_EQ(warpID.size(), 36u);
  EXPECT_EQ(manifest(warpID).warpID, warpID);
}

TEST_F(WarpManifest, leavesOutWhatNoWarpCanHold) {
  writeFile(folder / "a", "bytes");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const ProgramResult made = make();
  EXPECT_EQ(made.status, 0);
  EXPECT_EQ(made.errors, "tovrin-warp: left out \"pipe\": it is no file, folder or symbolic link\n");
  EXPECT_EQ(namesOf(manifest()), (std::vector<std::string>{folder / "a"}));
}

TEST_F(WarpManifest, isNotWrittenForANameThatItCannotHold) {
  writeFile(folder / "bad\xFF", "bytes");
  EXPECT_EQ(make().status, 1);
  EXPECT_EQ(countFiles(container), 0u);
}

TEST_F(WarpManifest, isNotWrittenWhenTheProviderWouldRefuseIt) {
  writeFile(folder / "caf\xC3\xA9", "composed");
  writeFile(folder / "cafe\xCC\x81", "decomposed: the same text");
  const ProgramResult made = make();
  EXPECT_EQ(made.status, 1);
  EXPECT_NE(made.errors.find("Shared Warp manifest dates or original-path ownership are inconsistent. (at entries)"),
            std::string::npos)
      << made.errors;
  EXPECT_EQ(countFiles(container), 0u);
}

TEST_F(WarpManifest, ofAnEmptyFolderHasNoEntries) {
  ASSERT_EQ(make().status, 0);
  EXPECT_TRUE(manifest().entries.empty());
}

TEST_F(WarpManifest, needsUsableWords) {
  writeFile(folder / "a", "bytes");
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"--warp-id", "a/b"},
                                             {"--warp-id", ".."},
                                             {"--created-at", "yesterday"},
                                             {"--encoding", "zip"},
                                             {"--layout", "pile"},
                                             {"--part-size", "0"},
                                             {"--part-size", "-5"},
                                             {"--status", "paused"},
                                             {"--put", "http://x", "--objects", "y"},
                                             {"--password", "pass"}}) {
    const ProgramResult made = make(words);
    EXPECT_EQ(made.status, 2) << words[0] << " " << words[1];
    EXPECT_EQ(made.output, "");
    EXPECT_NE(made.errors, "");
  }
  EXPECT_EQ(countFiles(container), 0u);
}

}  // namespace
}  // namespace tovrin
