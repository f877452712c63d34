#include <sys/wait.h>

#include <cstdlib>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

using Ls = Command;
using Names = std::vector<std::string>;

TEST_F(Ls, withoutAnItemListsTheRoot) {
  installPhotos();
  const Ended ended = run({"ls"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "Warped Files\n");
  EXPECT_EQ(ended.err, "");
}

TEST_F(Ls, listsPathsAsTheMountedDomainShowsThem) {
  installPhotos();
  EXPECT_EQ(run({"ls", "/Warped Files"}).out, "Users\n");
  EXPECT_EQ(run({"ls", "/Warped Files/Users/ann/"}).out, "Photos\n");
  EXPECT_EQ(run({"ls", kPhotos}).out, "a.jpg\nlink\nnotes\nsub\n");
  EXPECT_EQ(run({"ls", kPhotos + "/./sub/../sub"}).out, "x.txt\n");
}

TEST_F(Ls, ofAContainerThatHoldsNothingHintsAtIt) {
  const std::string nowhere = (scratch_ / "nowhere").string();
  const Ended ended = run({"--container", nowhere, "ls", "/Warped Files"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "tovrin: " + nowhere + " has no Warp directory: nothing is shared there yet\n");
  EXPECT_EQ(run({"--container", nowhere, "ls", "--json", "/Warped Files"}).err, "");
}

TEST_F(Ls, listsIdentifiers) {
  installPhotos();
  EXPECT_EQ(run({"ls", "manifest:W1"}).out, "a.jpg\nlink\nnotes\nsub\n");
  EXPECT_EQ(run({"ls", "NSFileProviderRootContainerItemIdentifier"}).out, "Warped Files\n");
  EXPECT_EQ(run({"ls", entryID("/Users/ann/Photos/sub")}).out, "x.txt\n");
  EXPECT_EQ(run({"ls", "NSFileProviderWorkingSetContainerItemIdentifier"}).out,
            "Warped Files\nUsers\nann\nPhotos\na.jpg\nnotes\nlink\nsub\nx.txt\n");
}

TEST_F(Ls, listsAFileAsItself) {
  installPhotos();
  EXPECT_EQ(run({"ls", kPhotos + "/a.jpg"}).out, kPhotos + "/a.jpg\n");
  EXPECT_EQ(fileNamesIn(run({"ls", "--json", kPhotos + "/a.jpg"}).out), Names{"a.jpg"});
}

TEST_F(Ls, tellsTypePermissionsSizeDateAndTarget) {
  installPhotos();
  EXPECT_EQ(run({"ls", "-l", kPhotos}).out,
            "-rw-------  7 2023-11-14 22:13 a.jpg\n"
            "lrwxrwxrwx  -                - link -> a.jpg\n"
            "-rw-r----- 19 2020-09-13 12:26 notes\n"
            "drwx------  -                - sub\n");
}

TEST_F(Ls, marksFoldersWhenAsked) {
  installPhotos();
  EXPECT_EQ(run({"ls", "-p", kPhotos}).out, "a.jpg\nlink\nnotes\nsub/\n");
  EXPECT_NE(run({"ls", "-lp", kPhotos}).out.find(" sub/\n"), std::string::npos);
}

TEST_F(Ls, goesThroughAllFoldersBelow) {
  installPhotos();
  EXPECT_EQ(run({"ls", "-R", "/Warped Files/Users"}).out,
            "/Warped Files/Users:\nann\n"
            "\n/Warped Files/Users/ann:\nPhotos\n"
            "\n/Warped Files/Users/ann/Photos:\na.jpg\nlink\nnotes\nsub\n"
            "\n/Warped Files/Users/ann/Photos/sub:\nx.txt\n");
  EXPECT_EQ(fileNamesIn(run({"ls", "-R", "--json"}).out),
            (Names{"Warped Files", "Users", "ann", "Photos", "a.jpg", "link", "notes", "sub", "x.txt"}));
}

TEST_F(Ls, printsTheItemsAsJSON) {
  installPhotos();
  const Ended ended = run({"ls", "--json", kPhotos});
  EXPECT_EQ(ended.out, run({"inspect", "children", "manifest:W1"}).out);
}

TEST_F(Ls, ofWhatIsNotThereFails) {
  installPhotos();
  for (const std::string item :
       {"/Warped Files/Users/bob", "/nope", "/Warped Files/Users/ann/Photos/a.jpg/x", "bogus"}) {
    const Ended ended = run({"ls", item});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, "tovrin: " + item + ": There is no such item.\n");
  }
  const Ended ended = run({"ls", "--json", "/nope"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err,
            "{\"error\":{\"domain\":\"NSCocoaErrorDomain\",\"code\":260,"
            "\"localizedDescription\":\"There is no such item.\"}}\n");
}

TEST_F(Ls, ofAnEmptyContainerIsAnEmptyList) {
  EXPECT_EQ(run({"ls", "/Warped Files"}).out, "");
  EXPECT_EQ(run({"ls", "--json", "/Warped Files"}).out, "[]\n");
  EXPECT_EQ(run({"ls", "/Warped Files"}).status, 0);
}

TEST_F(Ls, neverShowsControlCharactersRaw) {
  ManifestSpec warp;
  EntrySpec entry = fileEntry("/Users/ann/Photos/x", "x", "x");
  entry.displayName = "a\n\x1b[2J\xc2\x9b\u202Eb\\c";
  EntrySpec link;
  link.path = "/Users/ann/Photos/y";
  link.kind = "symlink";
  link.symlinkTarget = "\x1b]0;x\x07";
  warp.entries = {entry, link};
  installManifest(platform_, warp);
  EXPECT_EQ(run({"ls", kPhotos}).out, "a\\n\\033[2J\\302\\233\\342\\200\\256b\\\\c\ny\n");
  EXPECT_NE(run({"ls", "-l", kPhotos}).out.find("y -> \\033]0;x\\a\n"), std::string::npos);
}

TEST_F(Ls, showsNamesThatAFileSystemCanHoldAndFindsThemByThese) {
  ManifestSpec warp;
  EntrySpec slash = fileEntry("/Users/ann/Photos/a:b", "x", "x");
  slash.displayName = "a/b";
  EntrySpec same = fileEntry("/Users/ann/Photos/other", "yy", "y");
  same.displayName = "a/b";
  warp.entries = {slash, same};
  installManifest(platform_, warp);
  const std::string shown = run({"ls", kPhotos}).out;
  ASSERT_TRUE(shown.starts_with("a:b\na:b~")) << shown;
  const std::string second = shown.substr(4, shown.size() - 5);
  EXPECT_EQ(fileNamesIn(run({"ls", "--json", kPhotos + "/" + second}).out), Names{"a/b"});
  EXPECT_NE(run({"ls", "--json", kPhotos + "/" + second}).out.find("\"documentSize\":2"), std::string::npos);
  EXPECT_NE(run({"ls", "--json", kPhotos + "/a:b"}).out.find("\"documentSize\":1"), std::string::npos);
}

TEST_F(Ls, findsNamesThatAreTypedInAnotherCanonicalForm) {
  ManifestSpec warp;
  warp.entries = {fileEntry("/Users/ann/Photos/cafe\u0301", "x", "x")};
  installManifest(platform_, warp);
  EXPECT_EQ(run({"ls", kPhotos + "/caf\u00e9"}).status, 0);
}

TEST_F(Ls, tellsWhenItsOutputCannotBeWritten) {
  installPhotos();
  const std::string command = std::string(TOVRIN_PROGRAM) + " --container '" + container().string() +
                              "' ls >/dev/full 2>'" + (work() / "err").string() + "'";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_TRUE(readFile(work() / "err").starts_with("tovrin: standard output: "));
}

}  // namespace
}  // namespace tovrin
