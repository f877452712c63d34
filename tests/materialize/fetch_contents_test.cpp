#include "materialize/fetch_contents.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "materialize/errors.h"
#include "materialize/fetch_fixture.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

const std::string kFile = "/Users/ann/Photos/holiday.jpg";

using FetchContents = FetchFixture;

TEST_F(FetchContents, deliversTheFileAndItsItem) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.file);
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(readFile(*outcome.file), "contents");
  EXPECT_EQ(outcome.file->extension(), ".jpg");
  EXPECT_EQ(outcome.file->parent_path(), test.directories.providerTemporary->value() / "TovrinFileProvider");
  ASSERT_TRUE(outcome.item);
  EXPECT_EQ(outcome.item->itemIdentifier(), entryIdentifier("W1", kFile));
  EXPECT_EQ(outcome.item->filename(), "holiday.jpg");
  EXPECT_EQ(outcome.item->documentSize(), 8);
  EXPECT_EQ(filesMade(), 1U);
}

TEST_F(FetchContents, endsComplete) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  const FetchOutcome outcome = fetch(kFile);
  EXPECT_EQ(outcome.progress->totalUnitCount(), 100);
  EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
  EXPECT_EQ(completions, 1);
  const auto last = decodeMaterializationState(readFile(stateFile())).value();
  EXPECT_EQ(last.title, "Open complete");
  EXPECT_EQ(last.detail, "Opened " + kFile + ".");
  EXPECT_EQ(last.progressFraction, 1.0);
  EXPECT_FALSE(last.isActive);
  EXPECT_EQ(last.warpID, "W1");
  EXPECT_EQ(last.relativePath, kFile);
}

TEST_F(FetchContents, showsEveryStepInOrder) {
  EntrySpec entry = fileEntry(kFile, "aaabbbbcc", "");
  entry.payloadKey.reset();
  entry.payloadParts = {{"a", 0, 3, {}}, {"b", 3, 4, {}}, {"c", 7, 2, {}}};
  install({entry});
  put("a", "aaa");
  put("b", "bbbb");
  put("c", "cc");
  ASSERT_TRUE(worker.setAccounts("0,9,12"));
  std::vector<std::int64_t> units;
  recorder.onState = [&](const auto&) { units.push_back(progressOfFetch().completedUnitCount()); };
  ASSERT_TRUE(fetch(kFile).file);

  const std::vector<std::string> expected = {
      "Opening " + kFile + ".",
      "Preparing Ombrel Cloud to open " + kFile + " (0/10 ready).",
      "Preparing Ombrel Cloud to open " + kFile + " (9/10 ready).",
      "Opening " + kFile + ".",
      "Opening " + kFile + ".",
      "Opening " + kFile + ".",
      "Opened " + kFile + ".",
  };
  EXPECT_EQ(details(), expected);
  std::vector<std::optional<double>> fractions;
  for (const auto& state : recorder.states()) fractions.push_back(state.progressFraction);
  const std::vector<std::optional<double>> expectedFractions = {0.0, 0.0, 0.0, 3.0 / 9, 7.0 / 9, 0.99, 1.0};
  EXPECT_EQ(fractions, expectedFractions);
  const std::vector<std::int64_t> expectedUnits = {0, 0, 0, 33, 77, 99, 99};
  EXPECT_EQ(units, expectedUnits);
}

TEST_F(FetchContents, completesWhenAllIsWritten) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  std::vector<std::size_t> records;  // at each state
  recorder.onState = [&](const auto&) { records.push_back(journal->load().value().size()); };
  std::string detail;
  std::int64_t units = 0;
  onCompletion = [&] {
    detail = recorder.states().back().detail;
    units = progressOfFetch().completedUnitCount();
  };
  ASSERT_TRUE(fetch(kFile).file);
  EXPECT_EQ(detail, "Opened " + kFile + ".");
  EXPECT_EQ(units, 100);
  EXPECT_EQ(records, (std::vector<std::size_t>{0, 0, 1})) << "it is recorded before it is said to be open";
}

TEST_F(FetchContents, countsNoMoreThan99UnitsOfABundleThatPromisesTooMuch) {
  EntrySpec entry = fileEntry(kFile, "contents", "");
  entry.payloadKey.reset();
  entry.uploadStrategy = "bundle-direct-unpacked";
  entry.storedSize = 4;
  entry.payloadParts = {{"a", 0, 4, {}}, {"a", 0, 4, {}}};
  install({entry});
  put("a", "contents");
  std::vector<std::int64_t> units;
  recorder.onState = [&](const auto&) { units.push_back(progressOfFetch().completedUnitCount()); };
  ASSERT_TRUE(fetch(kFile).error);
  EXPECT_EQ(units, (std::vector<std::int64_t>{0, 99, 99, 99}));
}

TEST_F(FetchContents, badgesThePathAsOpeningAndThenAsCached) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  std::vector<std::string> badgeFiles;
  recorder.onState = [&](const auto&) {
    badgeFiles.push_back(readFile(test.warpDirectory() / "finder-badge-update.json"));
  };
  ASSERT_TRUE(fetch(kFile).file);
  ASSERT_GE(badgeFiles.size(), 2U);
  EXPECT_NE(badgeFiles.front().find("\"" + kFile + "\":\"opening\""), std::string::npos);
  EXPECT_NE(badgeFiles.back().find("\"" + kFile + "\":\"cached\""), std::string::npos);
}

TEST_F(FetchContents, deliversANameWithoutExtensionAsWarp) {
  install({fileEntry("/Users/ann/Photos/README", "contents", "k")});
  put("k", "contents");
  EXPECT_EQ(fetch("/Users/ann/Photos/README").file->extension(), ".warp");
}

TEST_F(FetchContents, givesEveryDeliveryAFileOfItsOwn) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  const auto first = fetch(kFile);
  completions = 0;
  const auto second = fetch(kFile);
  ASSERT_TRUE(first.file && second.file);
  EXPECT_NE(*first.file, *second.file);
  EXPECT_EQ(filesMade(), 2U);
}

TEST_F(FetchContents, decodesAndRestoresHoles) {
  const std::string stored = patternedBytes(200'000);
  const std::string stream = encodeLZFSE(stored);
  EntrySpec entry = fileEntry(kFile, std::string(300'000, '\0') + stored, "k");
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  entry.sparseExtents = {{300'000, 0, 200'000}};
  install({entry});
  put("k", stream);
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.file);
  EXPECT_TRUE(readFile(*outcome.file) == std::string(300'000, '\0') + stored);
  EXPECT_EQ(filesMade(), 1U);
}

TEST_F(FetchContents, ofASymbolicLinkNeedsNoWorker) {
  EntrySpec link;
  link.path = "/Users/ann/Photos/link";
  link.kind = "symlink";
  link.symlinkTarget = "../elsewhere/x y";
  install({link});
  std::filesystem::remove(test.warpDirectory() / "renterd-connection.json");
  std::vector<std::int64_t> units;
  recorder.onState = [&](const auto&) { units.push_back(progressOfFetch().completedUnitCount()); };
  const FetchOutcome outcome = fetch(link.path);
  ASSERT_TRUE(outcome.file);
  EXPECT_EQ(details(), (std::vector<std::string>{"Opening " + link.path + ".", "Opened " + link.path + "."}));
  EXPECT_EQ(units, (std::vector<std::int64_t>{0, 99})) << "the file is in place, but its opening is not over";
  EXPECT_EQ(std::filesystem::read_symlink(*outcome.file), "../elsewhere/x y");
  EXPECT_TRUE(worker.requests().empty());
  EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
  const auto records = journal->load().value();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].size, 16) << "the bytes of its target";
}

TEST_F(FetchContents, ofASymbolicLinkWithoutTargetFails) {
  EntrySpec link;
  link.path = "/Users/ann/Photos/link";
  link.kind = "symlink";
  install({link});
  const FetchOutcome outcome = fetch(link.path);
  ASSERT_TRUE(outcome.error);
  EXPECT_TRUE(outcome.error->isSameInstance(notOnDemandError()));
  EXPECT_EQ(recorder.states().back().title, "Open failed");
}

TEST_F(FetchContents, ofAHardLinkWithoutPayloadUsesItsPrimarys) {
  EntrySpec primary = fileEntry(kFile, "shared contents", "k");
  const std::string stream = encodeLZFSE("shared contents");
  primary.payloadEncoding = "lzfse";
  primary.storedSize = static_cast<std::int64_t>(stream.size());
  EntrySpec link = fileEntry("/Users/ann/Photos/again.jpg", "shared contents", "");
  link.payloadKey.reset();
  link.hardLinkPrimaryPath = kFile;
  install({primary, link});
  put("k", stream);
  const FetchOutcome outcome = fetch(link.path);
  ASSERT_TRUE(outcome.file) << outcome.error->localizedDescription();
  EXPECT_EQ(readFile(*outcome.file), "shared contents");
  EXPECT_EQ(outcome.item->filename(), "again.jpg");
}

EntrySpec linkTo(const std::string& primaryPath, std::string path) {
  EntrySpec link = fileEntry(std::move(path), "shared", "");
  link.payloadKey.reset();
  link.hardLinkPrimaryPath = primaryPath;
  return link;
}

TEST_F(FetchContents, findsThePrimaryOfAHardLinkInAnotherNormalForm) {
  install({fileEntry("/Users/ann/Photos/caf\u00E9", "shared", "k"),
           linkTo("/Users/ann/Photos/cafe\u0301", "/Users/ann/Photos/again")});
  put("k", "shared");
  EXPECT_EQ(readFile(fetch("/Users/ann/Photos/again").file.value()), "shared");
}

TEST_F(FetchContents, followsHardLinksToTheOneWithAPayload) {
  install({fileEntry(kFile, "shared", "k"), linkTo(kFile, "/Users/ann/Photos/b"),
           linkTo("/Users/ann/Photos/b", "/Users/ann/Photos/c")});
  put("k", "shared");
  EXPECT_EQ(readFile(fetch("/Users/ann/Photos/c").file.value()), "shared");
}

TEST_F(FetchContents, ofHardLinksInACircleFailsTheVerification) {
  install({linkTo("/Users/ann/Photos/b", "/Users/ann/Photos/a"), linkTo("/Users/ann/Photos/a", "/Users/ann/Photos/b")});
  EXPECT_TRUE(fetch("/Users/ann/Photos/a").error.value().isSameInstance(checksumError()));
}

TEST_F(FetchContents, deliversEveryKindOfFileForTheUserAlone) {
  EntrySpec raw = fileEntry("/Users/ann/Photos/raw", "contents", "k");
  EntrySpec joined = fileEntry("/Users/ann/Photos/joined", "contentscontents", "");
  joined.payloadKey.reset();
  joined.payloadParts = {{"k", 0, 8, {}}, {"k", 8, 8, {}}};
  EntrySpec slice = fileEntry("/Users/ann/Photos/slice", "tent", "");
  slice.payloadKey.reset();
  slice.uploadStrategy = "bundle-direct-unpacked";
  slice.payloadParts = {{"k", 3, 4, {}}};
  EntrySpec sparse;
  sparse.path = "/Users/ann/Photos/sparse";
  sparse.size = 100;
  sparse.storedSize = 8;
  sparse.payloadKey = "k";
  sparse.sparseExtents = {{92, 0, 8}};
  EntrySpec zeros;
  zeros.path = "/Users/ann/Photos/zeros";
  zeros.size = 10;
  zeros.storedSize = 0;
  const std::vector<EntrySpec> entries{raw, joined, slice, sparse, zeros};
  install(entries);
  put("k", "contents");
  for (const EntrySpec& entry : entries) {
    const FetchOutcome outcome = fetch(entry.path);
    ASSERT_TRUE(outcome.file) << entry.path << ": " << outcome.error->localizedDescription();
    EXPECT_EQ(std::filesystem::status(*outcome.file).permissions(), std::filesystem::perms(0600)) << entry.path;
  }
}

TEST_F(FetchContents, readsTheConnectionAndProbesAgainForEveryFetch) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  ASSERT_TRUE(fetch(kFile).file);
  installConnection(test, worker.address(), "another password");
  EXPECT_TRUE(fetch(kFile).error.value().isSameInstance(notReachableError()));
}

TEST_F(FetchContents, tellsTwoFailuresWithOneCodeApartByTheirSentences) {
  EntrySpec damaged = fileEntry("/Users/ann/Photos/damaged", "contents", "k");
  EntrySpec tooShort;
  tooShort.path = "/Users/ann/Photos/short";
  tooShort.size = 100;
  const std::string stream = encodeLZFSE("contents");
  tooShort.storedSize = static_cast<std::int64_t>(stream.size());
  tooShort.payloadKey = "stream";
  tooShort.payloadEncoding = "lzfse";
  tooShort.sparseExtents = {{0, 0, *tooShort.storedSize}};
  install({damaged, tooShort});
  put("k", "CONTENTS");
  put("stream", stream);
  const NSError first = fetch(damaged.path).error.value();
  const std::string firstSentence = decodeMaterializationState(readFile(stateFile())).value().errorDescription.value();
  const NSError second = fetch(tooShort.path).error.value();
  const std::string secondSentence = decodeMaterializationState(readFile(stateFile())).value().errorDescription.value();
  EXPECT_EQ(first.code(), 259);
  EXPECT_EQ(second.code(), 259);
  EXPECT_NE(firstSentence, secondSentence);
}

TEST_F(FetchContents, ofAnEntryThatChangesMeanwhileDeliversWhatWasAskedFor) {
  install({fileEntry(kFile, "contents", "k")});
  put("k", "contents");
  recorder.onState = [this](const TovrinWarpSharedMaterializationState& state) {
    if (state.isActive) install({fileEntry(kFile, "something longer", "other")});
  };
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.file);
  EXPECT_EQ(readFile(*outcome.file), "contents");
  EXPECT_EQ(outcome.item->documentSize(), 8) << "the item of the bytes that are delivered";
}

TEST_F(FetchContents, ofAHardLinkWithAPayloadUsesItsOwn) {
  EntrySpec link = fileEntry("/Users/ann/Photos/again.jpg", "own", "own");
  link.hardLinkPrimaryPath = kFile;
  install({fileEntry(kFile, "primary", "k"), link});
  put("own", "own");
  EXPECT_EQ(readFile(fetch(link.path).file.value()), "own");
}

TEST_F(FetchContents, reachesAFileOfAHiddenWarp) {
  install({fileEntry(kFile, "contents", "k")});
  installVisibilityIndex(test, {"another"});
  put("k", "contents");
  EXPECT_TRUE(fetch(kFile).file);
}

TEST_F(FetchContents, refusesWhatIsNoFileAtOnceAndWithoutATrace) {
  EntrySpec folder;
  folder.path = "/Users/ann/Photos/folder";
  folder.kind = "directory";
  install({fileEntry(kFile, "contents", "k"), folder});
  const std::size_t filesBefore = countFiles(test.scratch.path());
  const std::vector<std::string> refused = {entryIdentifier("W1", folder.path),
                                            entryIdentifier("W1", "/Users/ann/Photos/gone"),
                                            entryIdentifier("W2", kFile),
                                            manifestIdentifier("W1"),
                                            absoluteDirectoryIdentifier("/Users/ann"),
                                            std::string(kWarpedRootIdentifier),
                                            std::string(NSFileProviderRootContainerItemIdentifier),
                                            "",
                                            "entry:W1:***"};
  for (const std::string& identifier : refused) {
    int calls = 0;
    std::optional<NSError> refusal;
    const FetchContext context{platform, tree, *journal, publisher, *tasks};
    const auto progress =
        fetchContents(context, identifier, [&](const auto& file, const auto& item, const auto& error) {
          ++calls;
          EXPECT_FALSE(file);
          EXPECT_FALSE(item);
          refusal = error;
        });
    EXPECT_EQ(calls, 1) << identifier << ": before the call returns";
    ASSERT_TRUE(refusal) << identifier;
    EXPECT_TRUE(refusal->isSameInstance(notOnDemandError())) << identifier;
    EXPECT_EQ(progress->totalUnitCount(), 100);
    EXPECT_EQ(progress->completedUnitCount(), 100);
  }
  EXPECT_EQ(countFiles(test.scratch.path()), filesBefore);
}

TEST_F(FetchContents, leavesTheStateFileAsItWasWhenItRefuses) {
  install({fileEntry(kFile, "contents", "k")});
  writeFile(stateFile(), "the state of the last open");
  EXPECT_TRUE(fetchIdentifier(manifestIdentifier("W1")).error);
  EXPECT_EQ(readFile(stateFile()), "the state of the last open");
}

TEST_F(FetchContents, ofSeveralFilesRunsInParallelAndRecordsThemAll) {
  constexpr int kFiles = 8;
  std::vector<EntrySpec> entries;
  for (int index = 0; index < kFiles; ++index) {
    const std::string name = std::to_string(index);
    entries.push_back(fileEntry("/Users/ann/Photos/" + name + ".txt", "contents " + name, name));
    put(name, "contents " + name);
  }
  install(entries);
  // None is answered before all have asked: only fetches that run at the same time get through.
  addFault("silent route=accounts");
  std::vector<std::promise<FetchOutcome>> outcomes(kFiles);
  const FetchContext context{platform, tree, *journal, publisher, *tasks};
  for (int index = 0; index < kFiles; ++index) {
    fetchContents(
        context, entryIdentifier("W1", entries[static_cast<std::size_t>(index)].path),
        [&outcome = outcomes[static_cast<std::size_t>(index)]](const auto& file, const auto& item, const auto& error) {
          outcome.set_value({file, item, error, nullptr});
        });
  }
  EXPECT_TRUE(worker.waitForArrivals(kFiles));
  worker.clearFaults();
  for (int index = 0; index < kFiles; ++index) {
    const FetchOutcome outcome = outcomes[static_cast<std::size_t>(index)].get_future().get();
    ASSERT_TRUE(outcome.file) << outcome.error->localizedDescription();
    EXPECT_EQ(readFile(*outcome.file), "contents " + std::to_string(index));
  }
  tasks.emplace();
  EXPECT_EQ(journal->load().value().size(), static_cast<std::size_t>(kFiles));
}

}  // namespace
}  // namespace tovrin
