#include "host/control_fixture.h"

#include <sys/wait.h>

#include <cerrno>
#include <thread>

namespace tovrin::host {
namespace {

using ControlHostility = Control;

TEST_F(ControlHostility, answersWhatIsNoRequest) {
  const auto server = serve();
  for (const std::string& line :
       std::vector<std::string>{"", "no JSON", "{}", "[]", R"({"request":"destroy"})", R"({"request":"fetch"})",
                                R"({"request":"fetch","items":["a","b"]})", R"({"request":"evict","items":"a"})",
                                "{\"request\":\"\xff\"}", std::string(100'000, '[')}) {
    const auto answer = answerTo(line);
    ASSERT_TRUE(answer) << line;
    EXPECT_FALSE(decodeAnswer<MountStatus>(*answer)) << line;
    EXPECT_NE(answer->find("\"error\""), std::string::npos) << *answer;
  }
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlHostility, cutsOffARequestWithoutEnd) {
  const auto server = serve();
  const auto answer = answerTo(std::string(kLongestRequestBytes + 1, 'x'));
  ASSERT_TRUE(answer) << answer.error().localizedDescription();
  EXPECT_EQ(decodeAnswer<void>(*answer).error().code(), EMSGSIZE);
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlHostility, givesUpOnHalfARequest) {
  const auto server = serve({.patience = std::chrono::milliseconds(50)});
  auto connection = ControlSocket::connect(socket());
  ASSERT_TRUE(connection);
  ASSERT_EQ(write(connection->descriptor(), "{\"request\":", 11), 11);
  const auto answer = connection->receiveLine(kLongestAnswerBytes, {});
  ASSERT_TRUE(answer);
  EXPECT_EQ(decodeAnswer<void>(*answer).error().code(), ETIMEDOUT);
}

TEST_F(ControlHostility, givesUpOnAnAnswerThatNobodyTakes) {
  MountStatus status;
  status.edits.assign(100'000, {"entry:W1:YQ", "name", EditState::saved, "/cache/file", ""});
  mount_.setStatus(status);
  const auto server = serve({.patience = std::chrono::milliseconds(50), .connections = 1});
  auto connection = ControlSocket::connect(socket());
  ASSERT_TRUE(connection);
  ASSERT_TRUE(connection->sendLine(R"({"request":"status"})", {}));
  // There is room for one: this one is served when the other was given up.
  EXPECT_TRUE(client()->evict({"x"}));
}

TEST_F(ControlHostility, letsFurtherCallersWaitForTheirTurn) {
  const auto server = serve({.connections = 1});
  std::stop_source stop;
  std::jthread first([&] { std::ignore = client()->fetch("waits", stop.get_token()); });
  mount_.waitForStalls(1);
  std::optional<Result<std::vector<EvictOutcome>>> second;
  std::jthread caller([&] { second = client()->evict({"x"}); });
  stop.request_stop();
  caller.join();
  EXPECT_TRUE(*second);
}

TEST_F(ControlHostility, ofAnotherUserEndsAtTheDoor) {
  if (geteuid() != 0) GTEST_SKIP() << "only the administrator can become another user";
  const auto server = serve();
  using std::filesystem::perms;
  for (const auto& path : {platform_.scratch.path(), runtime_, runtime_ / "tovrin", socket()})
    std::filesystem::permissions(path, perms::all);
  const pid_t other = fork();
  if (other == 0) {
    if (setuid(65534) != 0) _exit(2);
    const auto got = answerTo(R"({"request":"status"})");
    _exit(got ? 1 : got.error().code() == ECONNRESET ? 0 : 3);
  }
  int status = -1;
  waitpid(other, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_TRUE(answerTo(R"({"request":"status"})"));
}

}  // namespace
}  // namespace tovrin::host
