#include "provider/identifier.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "foundation/encoding.h"
#include "provider/replicated_extension.h"

namespace tovrin {
namespace {

using Identifier = TovrinFileProviderIdentifier;

TovrinWarpSharedManifest warpOf(std::string_view originalFolderPath) {
  TovrinWarpSharedManifest manifest;
  manifest.originalFolderPath = originalFolderPath;
  return manifest;
}

template <class Case>
std::optional<Case> parsedAs(std::string_view text) {
  const auto identifier = Identifier::parse(text);
  if (!identifier || !std::holds_alternative<Case>(identifier->value)) return std::nullopt;
  return std::get<Case>(identifier->value);
}

TEST(ItemIdentifier, warpedRootIsOneExactText) {
  EXPECT_TRUE(parsedAs<Identifier::WarpedRoot>("warped-root"));
  EXPECT_FALSE(Identifier::parse("warped-root/"));
  EXPECT_FALSE(Identifier::parse("Warped-root"));
  EXPECT_FALSE(Identifier::parse(" warped-root"));
  EXPECT_FALSE(Identifier::parse(std::string_view("warped-root\0", 12)));
}

TEST(ItemIdentifier, aManifestIdentifierMayHaveAnEmptyWarpID) {
  EXPECT_EQ(parsedAs<Identifier::Manifest>("manifest:")->warpID, "");
}

TEST(ItemIdentifier, aManifestIdentifierTakesTheWarpIDAsItStands) {
  EXPECT_EQ(parsedAs<Identifier::Manifest>("manifest:W:1/=%20")->warpID, "W:1/=%20");
  EXPECT_FALSE(Identifier::parse("Manifest:W"));
  EXPECT_FALSE(Identifier::parse("manifest"));
}

TEST(ItemIdentifier, anAbsoluteFolderParsesWithAndWithoutPadding) {
  EXPECT_EQ(parsedAs<Identifier::AbsoluteDirectory>("absolute:L1VzZXJz")->path, "/Users");
  EXPECT_EQ(parsedAs<Identifier::AbsoluteDirectory>("absolute:L1VzZXJz==")->path, "/Users");
}

TEST(ItemIdentifier, anAbsoluteFolderWithoutATokenIsTheEmptyPath) {
  EXPECT_EQ(parsedAs<Identifier::AbsoluteDirectory>("absolute:")->path, "");
}

TEST(ItemIdentifier, aTokenThatIsNotUTF8DoesNotParse) {
  EXPECT_FALSE(Identifier::parse("absolute:" + encodePathToken("/\xff")));
  EXPECT_FALSE(Identifier::parse("entry:W1:" + encodePathToken("/\xc3")));
  EXPECT_FALSE(Identifier::parse("absolute:" + encodePathToken("/\xed\xa0\x80")));
}

TEST(ItemIdentifier, aTokenThatIsNotBase64DoesNotParse) {
  for (const char* token : {"L1Vz ZXJz", "L1Vz\nZXJz", "L", "L1V:", "%2F", "L1V=zZXJz", "\u00e9"}) {
    EXPECT_FALSE(Identifier::parse(std::string("absolute:") + token)) << token;
  }
}

TEST(ItemIdentifier, anEntryNeedsThreePieces) {
  EXPECT_FALSE(Identifier::parse("entry:"));
  EXPECT_FALSE(Identifier::parse("entry:W1"));
  EXPECT_FALSE(Identifier::parse("entry:W1:"));
  EXPECT_FALSE(Identifier::parse("entry:only-two"));
  EXPECT_EQ(*parsedAs<Identifier::Entry>("entry:W1:YQ"), (Identifier::Entry{"W1", "a"}));
}

TEST(ItemIdentifier, anEmptyPieceIsLeftOutAndUsesUpNoSplit) {
  EXPECT_EQ(*parsedAs<Identifier::Entry>("entry::W1:YQ"), (Identifier::Entry{"W1", "a"}));
  EXPECT_EQ(*parsedAs<Identifier::Entry>("entry::::W1:YQ"), (Identifier::Entry{"W1", "a"}));
  EXPECT_FALSE(Identifier::parse("entry:::"));
  EXPECT_FALSE(Identifier::parse("entry::W1"));
}

TEST(ItemIdentifier, afterTwoSplitsEveryColonBelongsToTheToken) {
  EXPECT_FALSE(Identifier::parse("entry:W1::YQ"));
  EXPECT_FALSE(Identifier::parse("entry:W1:YQ:"));
  EXPECT_FALSE(Identifier::parse("entry::W1::"));
}

TEST(ItemIdentifier, aWarpIDWithAColonMakesItsEntriesUnparseableButNotItsFolder) {
  EXPECT_FALSE(Identifier::parse(entryIdentifier("a:b", "/x")));
  EXPECT_EQ(parsedAs<Identifier::Manifest>(manifestIdentifier("a:b"))->warpID, "a:b");
}

TEST(ItemIdentifier, theSystemsContainersAreNoIdentifiersOfThisKind) {
  EXPECT_FALSE(Identifier::parse(NSFileProviderTrashContainerItemIdentifier));
  EXPECT_FALSE(Identifier::parse(NSFileProviderRootContainerItemIdentifier));
  EXPECT_FALSE(Identifier::parse(NSFileProviderWorkingSetContainerItemIdentifier));
  EXPECT_FALSE(Identifier::parse(""));
  EXPECT_FALSE(Identifier::parse("bogus"));
}

TEST(ItemIdentifier, everyCaseRoundTripsThroughItsText) {
  const Identifier cases[] = {{Identifier::AbsoluteDirectory{"/Users/ann"}},
                              {Identifier::Manifest{"W:1"}},
                              {Identifier::Entry{"W1", "/Users/ann/Photos/\u00fc b.jpg"}},
                              {Identifier::WarpedRoot{}}};
  for (const Identifier& identifier : cases) EXPECT_EQ(Identifier::parse(identifier.format()), identifier);
}

TEST(ItemIdentifier, textFormsAreExact) {
  EXPECT_EQ(Identifier{Identifier::AbsoluteDirectory{"/Users"}}.format(), "absolute:L1VzZXJz");
  EXPECT_EQ(Identifier{Identifier::Manifest{"W1"}}.format(), "manifest:W1");
  EXPECT_EQ((Identifier{Identifier::Entry{"W1", "a"}}.format()), "entry:W1:YQ");
  EXPECT_EQ(Identifier{Identifier::WarpedRoot{}}.format(), "warped-root");
}

TEST(ItemIdentifier, differentSpellingsOfOneNameAreDifferentIdentifiers) {
  EXPECT_NE((Identifier{Identifier::Entry{"W", "/\u00e9"}}), (Identifier{Identifier::Entry{"W", "/e\u0301"}}));
}

TEST(PathToken, usesTheAlphabetForFileNamesAndNoPadding) {
  const std::string path = "/\u00fb\u00ff?\u00be>";
  ASSERT_NE(base64Encode(path).find_first_of("+/"), std::string::npos);
  EXPECT_EQ(encodePathToken(path).find_first_of("+/=:"), std::string::npos);
  EXPECT_EQ(decodePathToken(encodePathToken(path)), path);
}

TEST(PathToken, bothSpecialCharactersRoundTrip) {
  EXPECT_EQ(encodePathToken("~~>"), "fn4-");
  EXPECT_EQ(encodePathToken("~~?"), "fn4_");
  EXPECT_EQ(decodePathToken("fn4-"), "~~>");
  EXPECT_EQ(decodePathToken("fn4_"), "~~?");
  EXPECT_EQ(decodePathToken("fn4+"), "~~>");
}

TEST(PathToken, everyPathRoundTrips) {
  std::mt19937 random(7);
  for (int round = 0; round < 2000; ++round) {
    std::string path = "/";
    for (auto length = random() % 40; length > 0; --length) {
      constexpr const char* kPieces[] = {"a", "/", "\u00e9", "\U0001F600", ":", "\x01", "=", "~", "?", "\u2028"};
      path += kPieces[random() % std::size(kPieces)];
    }
    EXPECT_EQ(decodePathToken(encodePathToken(path)), path);
  }
}

TEST(PathToken, aByteOrderMarkIsNoPartOfTheText) {
  EXPECT_EQ(decodePathToken(encodePathToken("\xEF\xBB\xBF/Users")), "/Users");
}

TEST(ParentDirectoryPath, leadsUpToTheTopFolder) {
  EXPECT_EQ(parentDirectoryPath("/Users/ann/Photos"), "/Users/ann");
  EXPECT_EQ(parentDirectoryPath("/Users/ann"), "/Users");
  EXPECT_FALSE(parentDirectoryPath("/Users"));
  EXPECT_FALSE(parentDirectoryPath("/"));
  EXPECT_FALSE(parentDirectoryPath(""));
}

TEST(ParentDirectoryPath, dropsEmptyComponentsOnly) {
  EXPECT_EQ(parentDirectoryPath("//Users//ann/"), "/Users");
  EXPECT_EQ(parentDirectoryPath("Users/ann"), "/Users");
  EXPECT_EQ(parentDirectoryPath("/a/../b"), "/a/..");
}

TEST(DirectoryDisplayName, isTheLastComponentOrSystem) {
  EXPECT_EQ(directoryDisplayName("/Users/ann"), "ann");
  EXPECT_EQ(directoryDisplayName("/"), "System");
  EXPECT_EQ(directoryDisplayName(""), "System");
}

TEST(EntryParentPath, isTheFolderOfTheEntry) {
  const auto manifest = warpOf("/Users/ann/Photos");
  EXPECT_EQ(entryParentPath("/Users/ann/Photos/a/b.jpg", manifest), "/Users/ann/Photos/a");
  EXPECT_EQ(entryParentPath("/Users/ann/Photos/b.jpg", manifest), "/Users/ann/Photos");
  EXPECT_EQ(entryParentPath("/top", warpOf("/")), "/");
}

TEST(EntryParentPath, theWarpsOwnFolderHasNone) {
  EXPECT_FALSE(entryParentPath("/Users/ann/Photos", warpOf("/Users/ann/Photos")));
  EXPECT_FALSE(entryParentPath("/Users//ann/./Photos/", warpOf("/Users/ann/Photos")));
  EXPECT_FALSE(entryParentPath("/", warpOf("/")));
}

TEST(EntryParentPath, theWarpsOwnFolderInAnotherNormalFormHasNone) {
  EXPECT_FALSE(entryParentPath("/We\u0301", warpOf("/W\u00e9")));
}

TEST(EntryParentPath, handlesPathsWithoutALeadingSlash) {
  const auto manifest = warpOf("/W");
  EXPECT_EQ(entryParentPath("a/b", manifest), "a");
  EXPECT_FALSE(entryParentPath("a", manifest));
  EXPECT_FALSE(entryParentPath("./a", manifest));
  EXPECT_FALSE(entryParentPath("", manifest));
}

TEST(ManifestRootPath, isTheWarpsFolderOrNoPathAtAll) {
  const auto manifest = warpOf("/W\u00e9");
  EXPECT_TRUE(isManifestRootPath("", manifest));
  EXPECT_TRUE(isManifestRootPath(".", manifest));
  EXPECT_TRUE(isManifestRootPath("/W\u00e9", manifest));
  EXPECT_TRUE(isManifestRootPath("/We\u0301", manifest));
  EXPECT_TRUE(isManifestRootPath("/x/../W\u00e9/", manifest));
  EXPECT_FALSE(isManifestRootPath("/We", manifest));
  EXPECT_FALSE(isManifestRootPath("/W\u00e9/a", manifest));
}

TEST(AbsoluteParentIdentifier, isWarpedRootForTopFolders) {
  EXPECT_EQ(absoluteParentIdentifier("/Users/ann"), "absolute:L1VzZXJz");
  EXPECT_EQ(absoluteParentIdentifier("/Users"), "warped-root");
  EXPECT_EQ(absoluteParentIdentifier("/"), "warped-root");
}

}  // namespace
}  // namespace tovrin
