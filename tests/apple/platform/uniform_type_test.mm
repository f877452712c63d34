#include "platform/uniform_type.h"

#include <gtest/gtest.h>

namespace tovrin {

namespace {

TEST(UniformTypeOfTheSystem, isTheDeclaredOne) {
  EXPECT_EQ(UTType::forFilenameExtension("pdf").identifier(), "com.adobe.pdf");
  EXPECT_EQ(UTType::forFilenameExtension("PDF").identifier(), "com.adobe.pdf");
}

TEST(UniformTypeOfTheSystem, isDataForWhatNobodyDeclared) {
  EXPECT_EQ(UTType::forFilenameExtension("unknownext"), UTType::data());
  EXPECT_EQ(UTType::forFilenameExtension(""), UTType::data());
}

TEST(UniformTypeOfTheSystem, staysTheSameTextWhileTheProcessLives) {
  EXPECT_EQ(UTType::forFilenameExtension("pdf").identifier().data(),
            UTType::forFilenameExtension("PDF").identifier().data());
}

}  // namespace

}  // namespace tovrin
