#include "foundation/path.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace tovrin {
namespace {

using namespace std::string_view_literals;

TEST(CanonicalAbsolutePath, acceptsPlainPaths) {
  for (const auto path : {"/"sv, "/a"sv, "/Users/a/Photos"sv, "/a b/c.d"sv, "/..."sv, "/.hidden"sv, "/a./..b"sv, "/~"sv,
                          "/é"sv, "/%2e%2e"sv, "/a\\..\\b"sv, "/ "sv}) {
    EXPECT_TRUE(isCanonicalAbsolutePath(path)) << path;
  }
}

TEST(CanonicalAbsolutePath, rejectsWhatStandardizingWouldChange) {
  for (const auto path : {""sv,
                          "a"sv,
                          "a/b"sv,
                          "./a"sv,
                          "~/a"sv,
                          "//"sv,
                          "//a"sv,
                          "/a//b"sv,
                          "/a/"sv,
                          "/Users/a/Photos/"sv,
                          "/."sv,
                          "/.."sv,
                          "/./a"sv,
                          "/a/."sv,
                          "/a/.."sv,
                          "/a/../b"sv,
                          "/Users/a/./Photos"sv,
                          "/a\0b"sv,
                          "/\0"sv,
                          "\0/a"sv}) {
    EXPECT_FALSE(isCanonicalAbsolutePath(path)) << path;
  }
}

TEST(CanonicalAbsolutePath, isExactlyWhatStandardizingLeavesAlone) {
  // Every text of up to seven of the characters that matter.
  constexpr std::string_view kAlphabet = "/.a";
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    const bool unchanged = text.starts_with('/') && standardizedPath(text) == text;
    ASSERT_EQ(isCanonicalAbsolutePath(text), unchanged) << text;
    if (text.size() == 7) continue;
    for (const char c : kAlphabet) texts.push_back(text + c);
  }
}

TEST(SafeRelativeObjectKey, acceptsPlainKeys) {
  for (const auto key : {"a"sv, "a/b.bin"sv, "manifests/w1.json"sv, "..."sv, ".a/b."sv, "a b"sv, "a:b?c#d"sv}) {
    EXPECT_TRUE(isSafeRelativeObjectKey(key)) << key;
  }
}

TEST(SafeRelativeObjectKey, rejectsKeysThatLeaveTheirPlace) {
  for (const auto key : {""sv, "/"sv, "/a"sv, "a//b"sv, "a/"sv, "./a"sv, "."sv, ".."sv, "a/../b"sv, "a/.."sv, "../a"sv,
                         "manifests//w1.json"sv, "/manifests/w1.json"sv, "manifests/../w1.json"sv, "a\0b"sv, "\0"sv}) {
    EXPECT_FALSE(isSafeRelativeObjectKey(key)) << key;
  }
}

/// Piece by piece, as the rule is told.
bool hasOnlyPlainPieces(const std::string& text) {
  std::istringstream pieces(text + "/");
  for (std::string piece; std::getline(pieces, piece, '/');) {
    if (piece.empty() || piece == "." || piece == ".." || piece.contains('\0')) return false;
  }
  return true;
}

TEST(SafeRelativeObjectKey, isSafeOrNotWhereverItsOddPieceStands) {
  constexpr auto kAlphabet = "/.a\0"sv;
  for (std::size_t size = 3; size < 40; ++size) {
    for (std::size_t odd = 0; odd < 64; ++odd) {
      for (std::size_t at = 0; at + 3 <= size; ++at) {
        std::string key(size, 'x');
        for (std::size_t i = 0; i < 3; ++i) key[at + i] = kAlphabet[odd >> 2 * i & 3];
        ASSERT_EQ(isSafeRelativeObjectKey(key), hasOnlyPlainPieces(key)) << key;
        ASSERT_EQ(isCanonicalAbsolutePath("/" + key), hasOnlyPlainPieces(key)) << key;
      }
    }
  }
}

TEST(StandardizedPath, followsTheSpellingOnly) {
  const std::vector<std::pair<std::string_view, std::string_view>> cases{
      {"", ""},
      {"/", "/"},
      {"//", "/"},
      {"/a/b", "/a/b"},
      {"/a//b///c", "/a/b/c"},
      {"/a/b/", "/a/b"},
      {"/./a/./b", "/a/b"},
      {"/a/../b", "/b"},
      {"/a/b/..", "/a"},
      {"/a/..", "/"},
      {"/..", "/"},
      {"/../../a", "/a"},
      {"/a/../../b", "/b"},
      {"/.", "/"},
      {"a/", "a"},
      {"a/b/../c", "a/c"},
      {"a/..", ""},
      {"..", ".."},
      {"../a", "../a"},
      {"../..", "../.."},
      {"a/../..", ".."},
      {"./a", "a"},
      {".", ""},
      {"/...", "/..."},
      {"/a/.../b", "/a/.../b"},
      {"~/a", "~/a"},
      {"/private/tmp", "/private/tmp"},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(standardizedPath(path), expected) << path;
}

TEST(StandardizedPath, changesNothingTheSecondTime) {
  std::vector<std::string> texts{""};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    const std::string once = standardizedPath(text);
    ASSERT_EQ(standardizedPath(once), once) << text;
    if (text.size() == 7) continue;
    for (const char c : "/.a"sv) texts.push_back(text + c);
  }
}

TEST(LastPathComponent, ignoresTrailingSlashes) {
  EXPECT_EQ(lastPathComponent("/a/b"), "b");
  EXPECT_EQ(lastPathComponent("/a/b///"), "b");
  EXPECT_EQ(lastPathComponent("a"), "a");
  EXPECT_EQ(lastPathComponent("/a"), "a");
  EXPECT_EQ(lastPathComponent("/"), "/");
  EXPECT_EQ(lastPathComponent("///"), "/");
  EXPECT_EQ(lastPathComponent(""), "");
}

TEST(DeletingLastPathComponent, leavesTheFolder) {
  EXPECT_EQ(deletingLastPathComponent("/a/b"), "/a");
  EXPECT_EQ(deletingLastPathComponent("/a/b/"), "/a");
  EXPECT_EQ(deletingLastPathComponent("/a//b"), "/a");
  EXPECT_EQ(deletingLastPathComponent("/a"), "/");
  EXPECT_EQ(deletingLastPathComponent("//a"), "/");
  EXPECT_EQ(deletingLastPathComponent("/"), "/");
  EXPECT_EQ(deletingLastPathComponent("a/b"), "a");
  EXPECT_EQ(deletingLastPathComponent("a"), "");
  EXPECT_EQ(deletingLastPathComponent("a/"), "");
  EXPECT_EQ(deletingLastPathComponent(""), "");
}

TEST(PathExtension, isTheTextAfterTheLastDot) {
  EXPECT_EQ(pathExtension("/x/a.jpg"), "jpg");
  EXPECT_EQ(pathExtension("a.tar.gz"), "gz");
  EXPECT_EQ(pathExtension("b.JSON"), "JSON");
  EXPECT_EQ(pathExtension("/x/a.jpg/"), "jpg");
  EXPECT_EQ(pathExtension("a..gz"), "gz");
  EXPECT_EQ(pathExtension(".a.gz"), "gz");
  EXPECT_EQ(pathExtension("....gz"), "gz");
  EXPECT_EQ(pathExtension("a.\u00A0"), "\u00A0");
  EXPECT_EQ(pathExtension("a.é"), "é");
}

TEST(PathExtension, isEmptyWhereThePlatformSeesNone) {
  for (const auto path :
       {""sv,           "/"sv,         "a"sv,         "/x.y/a"sv,    ".json"sv,     "/x/.bashrc"sv, "a."sv,
        "..gz"sv,       "...gz"sv,     "."sv,         ".."sv,        "..."sv,       "a.b c"sv,      "a. "sv,
        "a.b\u202Ec"sv, "a.\u200Fb"sv, "a.\u061Cb"sv, "a.b\u2066"sv, "a.b\u2069"sv, "a.b\u202A"sv,  "a.b\u200E"sv}) {
    EXPECT_EQ(pathExtension(path), "") << path;
  }
}

}  // namespace
}  // namespace tovrin
