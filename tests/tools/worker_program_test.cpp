#include <signal.h>

#include <fstream>

#include "tools/program.h"
#include "tools/worker_fixture.h"

namespace tovrin {
namespace {

/// The largest resident size so far, in KiB.
std::size_t peakResidentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string word; status >> word;) {
    std::size_t size = 0;
    if (word == "VmHWM:" && status >> size) return size;
  }
  return 0;
}

std::size_t residentKiB(pid_t pid) {
  std::ofstream("/proc/" + std::to_string(pid) + "/clear_refs") << "5";  // the peak starts over
  return peakResidentKiB(pid);
}

TEST(WorkerProgram, explainsItselfAndItsFaults) {
  const ProgramResult help = runProgram({TOVRIN_WORKER_PROGRAM, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.errors, "");
  for (const char* word : {"--root", "--listen", "--password-file", "--accounts", "--log", "--fault",
                           "cut after=", "stall after=", "endless", "/control/faults"}) {
    EXPECT_NE(help.output.find(word), std::string::npos) << word;
  }
  EXPECT_EQ(help.output.find("--password "), std::string::npos);
}

TEST(WorkerProgram, refusesWrongWordsWithStatusTwo) {
  const ScratchFolder scratch;
  const std::string root = (scratch / "r").string();
  const std::vector<std::string> password{"TOVRIN_WORKER_PASSWORD=pass"};
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{},
                                             {"--root", root, "--password", "pass"},
                                             {"--root", root, "--listen", "0.0.0.0:0"},
                                             {"--root", root, "--listen", "127.0.0.1:99999"},
                                             {"--root", root, "--fault", "nonsense"}}) {
    std::vector<std::string> all{TOVRIN_WORKER_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    const ProgramResult result = runProgram(all, password);
    EXPECT_EQ(result.status, 2) << (words.empty() ? "" : words.back());
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors, "");
  }
}

TEST(WorkerProgram, failsWithStatusOneWhenItCannotStart) {
  const ScratchFolder scratch;
  writeFile(scratch / "file", "in the way");
  const std::vector<std::string> password{"TOVRIN_WORKER_PASSWORD=pass"};
  EXPECT_EQ(runProgram({TOVRIN_WORKER_PROGRAM, "--root", scratch / "file/below"}, password).status, 1);
  EXPECT_EQ(runProgram({TOVRIN_WORKER_PROGRAM, "--root", scratch / "r", "--accounts", "x"}, password).status, 1);
  EXPECT_EQ(runProgram({TOVRIN_WORKER_PROGRAM, "--root", scratch / "r", "--password-file", scratch / "none"}).status,
            1);
  const WorkerProcess other({"--root", scratch / "r"});
  EXPECT_EQ(runProgram({TOVRIN_WORKER_PROGRAM, "--root", scratch / "r", "--listen", other.address()}, password).status,
            1);
}

TEST(WorkerProgram, servesUntilItIsTerminated) {
  const ScratchFolder scratch;
  writeFile(scratch / "r/tovrin/a", "bytes");
  for (const int signal : {SIGTERM, SIGINT}) {
    WorkerProcess worker({"--root", scratch / "r"});
    ASSERT_NE(worker.address(), "");
    EXPECT_EQ(request(worker.address(), "GET", "/api/worker/object/a?bucket=tovrin", authorization("pass")).body,
              "bytes");
    EXPECT_EQ(worker.end(signal), 0);
    EXPECT_FALSE(RawClient(worker.address()).connected());
  }
}

TEST(WorkerProgram, endsAlsoWhileARequestIsHeld) {
  const ScratchFolder scratch;
  WorkerProcess worker({"--root", scratch / "r", "--fault", "stall after=1", "--fault", "header name=X-Ready value=1"});
  RawClient client(worker.address());
  client.send("GET /api/worker/accounts HTTP/1.1\r\nHost: x\r\n" + authorization("pass") + "\r\n");
  EXPECT_EQ(client.receiveBeginning(1).header("X-Ready"), "1");
  EXPECT_EQ(worker.end(SIGTERM), 0);
}

TEST(WorkerProgram, readsThePasswordFromAFile) {
  const ScratchFolder scratch;
  writeFile(scratch / "password", "from the file\nsecond line\n");
  WorkerProcess worker({"--root", scratch / "r", "--password-file", scratch / "password"}, "from the environment");
  EXPECT_EQ(request(worker.address(), "GET", "/api/worker/accounts", authorization("from the file")).status, 200);
  EXPECT_EQ(request(worker.address(), "GET", "/api/worker/accounts", authorization("from the environment")).status,
            401);
}

TEST(WorkerProgram, findsNoAccountsForAsManyPollsAsTold) {
  const ScratchFolder scratch;
  WorkerProcess worker({"--root", scratch / "r", "--accounts-not-ready", "2", "--accounts", "10"});
  const auto poll = [&] {
    return request(worker.address(), "GET", "/api/worker/accounts", authorization("pass")).body;
  };
  EXPECT_EQ(poll(), "[]\n");
  EXPECT_EQ(poll(), "[]\n");
  EXPECT_NE(poll(), "[]\n");
}

TEST(WorkerProgram, takesFaultsAtItsStart) {
  const ScratchFolder scratch;
  writeFile(scratch / "r/tovrin/a", "bytes");
  WorkerProcess worker(
      {"--root", scratch / "r", "--fault", "status code=502 times=1", "--fault", "cut after=2 times=2"});
  const auto get = [&] {
    return request(worker.address(), "GET", "/api/worker/object/a?bucket=tovrin", authorization("pass"));
  };
  EXPECT_EQ(get().status, 502);
  EXPECT_EQ(get().body, "by");
  EXPECT_EQ(get().body, "bytes");
}

TEST(WorkerProgram, streamsWithoutHoldingAnObjectInMemory) {
  constexpr std::uintmax_t kSize = 256 << 20;
  constexpr std::size_t kMostGrowthKiB = 16 << 10;
  const ScratchFolder scratch;
  writeFile(scratch / "r/tovrin/big", "");
  std::filesystem::resize_file(scratch / "r/tovrin/big", kSize);
  WorkerProcess worker({"--root", scratch / "r", "--fault", "flip at=100000000"});
  request(worker.address(), "GET", "/api/worker/accounts", authorization("pass"));
  const std::size_t before = residentKiB(worker.pid());
  RawClient client(worker.address());
  client.send("GET /api/worker/object/big?bucket=tovrin HTTP/1.1\r\nHost: x\r\n" + authorization("pass") + "\r\n");
  EXPECT_EQ(client.receiveBeginning(0).header("Content-Length"), std::to_string(kSize));
  std::uintmax_t received = 0;
  while (received < kSize) {
    const std::size_t piece = client.receiveBytes(std::min<std::uintmax_t>(kSize - received, 1 << 20)).size();
    ASSERT_GT(piece, 0u);
    received += piece;
  }
  EXPECT_LT(peakResidentKiB(worker.pid()), before + kMostGrowthKiB);
}

}  // namespace
}  // namespace tovrin
