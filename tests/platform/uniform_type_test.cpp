#include "platform/uniform_type.h"

#include <gtest/gtest.h>

namespace tovrin {
namespace {

std::string_view typeOf(std::string_view extension) { return UTType::forFilenameExtension(extension).identifier(); }

TEST(UniformType, knowsTheThreeFixedTypes) {
  EXPECT_EQ(UTType::folder().identifier(), "public.folder");
  EXPECT_EQ(UTType::symbolicLink().identifier(), "public.symlink");
  EXPECT_EQ(UTType::data().identifier(), "public.data");
}

TEST(UniformType, knowsCommonExtensions) {
  EXPECT_EQ(typeOf("pdf"), "com.adobe.pdf");
  EXPECT_EQ(typeOf("jpg"), "public.jpeg");
  EXPECT_EQ(typeOf("jpeg"), "public.jpeg");
  EXPECT_EQ(typeOf("txt"), "public.plain-text");
  EXPECT_EQ(typeOf("mov"), "com.apple.quicktime-movie");
  EXPECT_EQ(typeOf("docx"), "org.openxmlformats.wordprocessingml.document");
  EXPECT_EQ(typeOf("gz"), "org.gnu.gnu-zip-archive");
  EXPECT_EQ(typeOf("cpp"), "public.c-plus-plus-source");
}

TEST(UniformType, knowsTheFirstAndTheLastExtensionOfTheAlphabet) {
  EXPECT_EQ(typeOf("3g2"), "public.3gpp2");
  EXPECT_EQ(typeOf("zsh"), "public.zsh-script");
}

TEST(UniformType, knowsOneLetterExtensions) {
  EXPECT_EQ(typeOf("c"), "public.c-source");
  EXPECT_EQ(typeOf("z"), "public.z-archive");
}

TEST(UniformType, tellsTheTwoAppleAudioTypesApart) {
  EXPECT_EQ(typeOf("aiff"), "public.aiff-audio");
  EXPECT_EQ(typeOf("aifc"), "public.aifc-audio");
}

TEST(UniformType, ignoresCase) {
  EXPECT_EQ(typeOf("PDF"), "com.adobe.pdf");
  EXPECT_EQ(typeOf("JpEg"), "public.jpeg");
  EXPECT_EQ(typeOf("M2TS"), "public.avchd-mpeg-2-transport-stream");
}

TEST(UniformType, takesWhatItDoesNotKnowForData) {
  for (const std::string_view extension :
       {"", "unknownext", "rs", "toml", "pd", "pdff", ".pdf", "pdf ", " ", "p\0f", "é"})
    EXPECT_EQ(UTType::forFilenameExtension(extension), UTType::data()) << extension;
  EXPECT_EQ(UTType::forFilenameExtension(std::string(100'000, 'a')), UTType::data());
}

TEST(UniformType, neverGivesAPackageType) {
  for (const std::string_view extension : {"app", "bundle", "framework", "rtfd", "dext", "photoslibrary", "xcodeproj"})
    EXPECT_EQ(UTType::forFilenameExtension(extension), UTType::data()) << extension;
}

TEST(UniformType, comparesByIdentifier) {
  EXPECT_EQ(UTType::forFilenameExtension("jpg"), UTType::forFilenameExtension("JPE"));
  EXPECT_NE(UTType::forFilenameExtension("jpg"), UTType::forFilenameExtension("png"));
}

}  // namespace
}  // namespace tovrin
