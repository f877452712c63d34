#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/scratch_folder.h"
#include "tools/raw_client.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {

/// A worker in this process with the two buckets.
class WorkerTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(worker.start());
    ASSERT_TRUE(worker.createBucket("tovrin"));
    ASSERT_TRUE(worker.createBucket("tovrin-warped"));
  }

  static std::string target(std::string_view encodedKey, std::string_view bucket = "tovrin") {
    return "/api/worker/object/" + std::string(encodedKey) + "?bucket=" + std::string(bucket);
  }
  RawResponse get(std::string_view path, std::string_view headers = "") {
    return ::tovrin::request(worker.address(), "GET", path, authorization("pass") + std::string(headers));
  }
  RawResponse send(std::string_view method, std::string_view path, std::string_view body = "",
                   std::string_view headers = "") {
    return ::tovrin::request(worker.address(), method, path, authorization("pass") + std::string(headers), body);
  }
  /// A request on a client of the test's own.
  std::string getText(std::string_view path) {
    return "GET " + std::string(path) + " HTTP/1.1\r\nHost: x\r\n" + authorization("pass") + "\r\n";
  }

  ScratchFolder scratch;
  LoopbackWorker worker{{.root = scratch / "objects", .password = "pass", .log = scratch / "log"}};
};

/// Bytes that differ from place to place.
inline std::string sampleBytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::uint32_t state = 12345;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

}  // namespace tovrin
