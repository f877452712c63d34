#include "materialize/worker_url.h"

#include <gtest/gtest.h>

#include <string>

namespace tovrin {
namespace {

TEST(PercentEncoding, keepsExactlyWhatAURLPathAllows) {
  const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!$&'()*+,-./:=@_~";
  for (int value = 0; value < 256; ++value) {
    const char character = static_cast<char>(value);
    const std::string text = std::string("/") + character;
    const bool kept = percentEncodedForURLPath(text) == text;
    EXPECT_EQ(kept, allowed.find(character) != std::string::npos) << value;
  }
}

TEST(PercentEncoding, writesUpperCaseDigitsOfEveryByte) {
  EXPECT_EQ(percentEncodedForURLPath("é \x7f"), "%C3%A9%20%7F");
  EXPECT_EQ(percentEncodedForURLPath("a;b?c#d"), "a%3Bb%3Fc%23d");
}

TEST(PercentEncoding, encodesAPercentSignThatLooksEncodedAlready) {
  EXPECT_EQ(percentEncodedForURLPath("a%20b"), "a%2520b");
}

TEST(PercentEncoding, encodesAColonOnlyBeforeTheFirstSlash) {
  EXPECT_EQ(percentEncodedForURLPath("a:b/c:d"), "a%3Ab/c:d");
  EXPECT_EQ(percentEncodedForURLPath("a:b:c"), "a%3Ab%3Ac");
  EXPECT_EQ(percentEncodedForURLPath("a/b:c"), "a/b:c");
}

TEST(WorkerURL, encodesTheKeyAndKeepsItsSlashes) {
  EXPECT_EQ(objectURL("h:9980", "warps/my photo #1.bin", TovrinPayloadNamespace::warp),
            "http://h:9980/api/worker/object/warps/my%20photo%20%231.bin?bucket=tovrin-warped");
}

TEST(WorkerURL, choosesTheBucketByNamespace) {
  EXPECT_EQ(bucketOf(TovrinPayloadNamespace::warp), "tovrin-warped");
  EXPECT_EQ(bucketOf(TovrinPayloadNamespace::backup), "tovrin");
  EXPECT_EQ(bucketOf(std::nullopt), "tovrin");
}

TEST(WorkerURL, putsTheAddressBehindHTTPAsItStands) {
  EXPECT_EQ(accountsURL("127.0.0.1:9980"), "http://127.0.0.1:9980/api/worker/accounts");
  EXPECT_EQ(accountsURL("https://host/prefix"), "http://https://host/prefix/api/worker/accounts");
}

}  // namespace
}  // namespace tovrin
