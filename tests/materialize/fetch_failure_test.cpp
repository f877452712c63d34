#include <gtest/gtest.h>

#include <cerrno>
#include <exception>
#include <new>
#include <string>
#include <tuple>

#include "materialize/errors.h"
#include "materialize/fetch_fixture.h"

namespace tovrin {
namespace {

const std::string kFile = "/Users/ann/Photos/holiday.jpg";

class FetchFailure : public FetchFixture {
 protected:
  void SetUp() override {
    FetchFixture::SetUp();
    install({fileEntry(kFile, "contents", "k")});
    put("k", "contents");
  }

  /// One completion with an error, the failure on show, everything that was made gone, nothing recorded.
  NSError expectFailure() {
    std::int64_t units = 0;
    std::string title;
    onCompletion = [&] {
      units = progressOfFetch().completedUnitCount();
      if (const auto state = decodeMaterializationState(readFile(stateFile()))) title = state->title;
    };
    const FetchOutcome outcome = fetch(kFile);
    onCompletion = nullptr;
    EXPECT_EQ(units, 100);
    EXPECT_FALSE(outcome.file);
    EXPECT_FALSE(outcome.item);
    EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(filesMade(), 0U);
    if (!outcome.error) return {"no error", 0};
    const auto state = decodeMaterializationState(readFile(stateFile()));
    if (state) {
      EXPECT_EQ(state->title, "Open failed");
      EXPECT_EQ(title, state->title) << "before the completion";
      EXPECT_EQ(state->detail, "Could not open " + kFile + ".");
      EXPECT_FALSE(state->isActive);
      EXPECT_EQ(state->progressFraction, std::nullopt);
      EXPECT_EQ(state->errorDescription, outcome.error->localizedDescription());
    }
    return *outcome.error;
  }
};

/// A session that has no memory, or worse.
template <class Exception>
class ThrowingURLSession final : public URLSession {
 public:
  Result<HTTPResponse> receive(const URLRequest&, BodySink&, std::stop_token) override { throw Exception(); }
};
struct StrangeException final : std::exception {};

TEST_F(FetchFailure, ofAMissingConnectionFileIsPassedOn) {
  std::filesystem::remove(test.warpDirectory() / "renterd-connection.json");
  EXPECT_TRUE(expectFailure().is(CocoaErrorCode::fileReadNoSuchFile));
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(FetchFailure, ofABrokenConnectionFileIsPassedOn) {
  writeFile(test.warpDirectory() / "renterd-connection.json", "{}");
  EXPECT_TRUE(expectFailure().is(CocoaErrorCode::coderValueNotFound));
}

TEST_F(FetchFailure, withoutAManagerIsAWorkerThatCannotBeReached) {
  test.directories.providerTemporary.reset();
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.error);
  EXPECT_TRUE(outcome.error->isSameInstance(notReachableError()));
}

TEST_F(FetchFailure, ofTheManagerIsPassedOn) {
  const NSError error(NSCocoaErrorDomain, 4101, "The manager is not well.");
  test.directories.providerTemporary = failure(error);
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(*outcome.error, error);
  EXPECT_EQ(recorder.states().back().errorDescription, "The manager is not well.");
  EXPECT_EQ(details(), (std::vector<std::string>{"Opening " + kFile + ".", "Could not open " + kFile + "."}));
}

TEST_F(FetchFailure, ofTheWorkerToGetReadyShowsThatItIsStillPreparing) {
  worker.stop();
  EXPECT_TRUE(expectFailure().isSameInstance(notReachableError()));
  const auto shown = details();
  ASSERT_EQ(shown.size(), 1U + 90 + 1 + 1);
  EXPECT_EQ(shown[1], "Preparing Ombrel Cloud to open " + kFile + " (0/10 ready).");
  EXPECT_EQ(shown[91], "Ombrel Cloud is still preparing to open " + kFile + " (0/10 ready).");
  EXPECT_TRUE(recorder.states()[91].isActive);
  EXPECT_EQ(recorder.states().back().errorDescription, "Ombrel Cloud is not reachable for on-demand file download.");
}

TEST_F(FetchFailure, ofTheLoginComesAtOnce) {
  installConnection(test, worker.address(), "wrong");
  EXPECT_TRUE(expectFailure().isSameInstance(notReachableError()));
  EXPECT_EQ(test.clock.sleeps(), 0);
}

TEST_F(FetchFailure, ofAMissingObjectIsAWorkerThatCannotBeReached) {
  std::filesystem::remove(worker.objectPath("tovrin", "k"));
  EXPECT_TRUE(expectFailure().isSameInstance(notReachableError()));
}

TEST_F(FetchFailure, ofTheTransferIsPassedOn) {
  addFault("cut after=3 key=k");
  EXPECT_EQ(expectFailure(), NSError::url(URLErrorCode::networkConnectionLost));
}

TEST_F(FetchFailure, ofTheChecksumRemovesTheFile) {
  put("k", "CONTENTS");
  EXPECT_TRUE(expectFailure().isSameInstance(checksumError()));
  EXPECT_TRUE(journal->load().value().empty());
}

TEST_F(FetchFailure, badgesThePathWithAnIssue) {
  put("k", "CONTENTS");
  std::ignore = expectFailure();
  EXPECT_NE(readFile(test.warpDirectory() / "finder-badge-update.json").find("\"" + kFile + "\":\"issue\""),
            std::string::npos);
}

TEST_F(FetchFailure, isNotMadeByAStateFileThatCannotBeWritten) {
  std::filesystem::create_directories(stateFile() / "a folder in its place");
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.file) << outcome.error->localizedDescription();
  EXPECT_EQ(readFile(*outcome.file), "contents");
}

TEST_F(FetchFailure, forWantOfMemoryStillCompletesOnce) {
  ThrowingURLSession<std::bad_alloc> throwing;
  session = &throwing;
  EXPECT_EQ(expectFailure(), NSError::posix(ENOMEM));
}

TEST_F(FetchFailure, ofAnUnforeseenKindStillCompletesOnce) {
  ThrowingURLSession<StrangeException> throwing;
  session = &throwing;
  EXPECT_TRUE(expectFailure().is(CocoaErrorCode::fileReadUnknown));
}

TEST_F(FetchFailure, doesNotKeepTheNextFetchFromSucceeding) {
  addFault("cut after=3 key=k times=1");
  std::ignore = expectFailure();
  completions = 0;
  EXPECT_TRUE(fetch(kFile).file);
}

}  // namespace
}  // namespace tovrin
