#include "materialize/connection_snapshot.h"

#include <gtest/gtest.h>

#include "support/warp_fixture.h"

namespace tovrin {
namespace {

class ConnectionSnapshot : public ::testing::Test {
 protected:
  auto read() { return readConnectionSnapshot(test.warpDirectory()); }
  void write(std::string_view bytes) { writeFile(test.warpDirectory() / "renterd-connection.json", bytes); }

  TestPlatform test;
};

TEST_F(ConnectionSnapshot, readsAddressAndPassword) {
  installConnection(test, "127.0.0.1:9980", "p\"ä\n");
  const auto snapshot = read();
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(snapshot->httpAddress, "127.0.0.1:9980");
  EXPECT_EQ(snapshot->apiPassword, "p\"ä\n");
}

TEST_F(ConnectionSnapshot, isReadAfreshEveryTime) {
  installConnection(test, "a:1", "first");
  ASSERT_TRUE(read());
  installConnection(test, "b:2", "second");
  const auto snapshot = read();
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(snapshot->apiPassword, "second");
}

TEST_F(ConnectionSnapshot, passesOnThatTheFileIsMissing) {
  const auto snapshot = read();
  ASSERT_FALSE(snapshot);
  EXPECT_TRUE(snapshot.error().is(CocoaErrorCode::fileReadNoSuchFile));
}

TEST_F(ConnectionSnapshot, passesOnThatTheTextIsNoJSON) {
  write("{\"httpAddress\":");
  const auto snapshot = read();
  ASSERT_FALSE(snapshot);
  EXPECT_TRUE(snapshot.error().is(CocoaErrorCode::coderReadCorrupt));
}

TEST_F(ConnectionSnapshot, passesOnWhichKeyIsMissing) {
  write(R"({"httpAddress":"a:1","updatedAt":"2025-03-01T12:00:00Z"})");
  const auto snapshot = read();
  ASSERT_FALSE(snapshot);
  EXPECT_TRUE(snapshot.error().is(CocoaErrorCode::coderValueNotFound));
}

TEST_F(ConnectionSnapshot, needsAValidDateEvenThoughNobodyLooksAtIt) {
  write(R"({"httpAddress":"a:1","apiPassword":"p","updatedAt":"yesterday"})");
  const auto snapshot = read();
  ASSERT_FALSE(snapshot);
  ASSERT_NE(snapshot.error().decodingFailure(), nullptr);
  EXPECT_EQ(snapshot.error().decodingFailure()->codingPath, std::vector<std::string>{"updatedAt"});
}

TEST_F(ConnectionSnapshot, skipsUnknownKeys) {
  write(R"({"future":[1e999],"httpAddress":"a:1","apiPassword":"","updatedAt":"2025-03-01T12:00:00Z"})");
  EXPECT_TRUE(read());
}

}  // namespace
}  // namespace tovrin
