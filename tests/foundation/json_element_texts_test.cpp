#include "foundation/json/element_texts.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace tovrin {
namespace {

std::string joined(const std::vector<std::string>& elements) {
  std::string text;
  for (const std::string& element : elements) text += (text.empty() ? "" : ",") + element;
  return text;
}

TEST(JSONElementTexts, areEmptyAtFirst) { EXPECT_EQ(JSONElementTexts().joined(), ""); }

TEST(JSONElementTexts, keepTheirCommasWhenTheFirstOrTheLastGoes) {
  JSONElementTexts texts;
  for (const char* element : {"1", "\"a,b\"", "[2,3]"}) texts.append(element);
  EXPECT_EQ(texts.joined(), "1,\"a,b\",[2,3]");
  texts.erase({0u});
  EXPECT_EQ(texts.joined(), "\"a,b\",[2,3]");
  texts.erase({1u});
  EXPECT_EQ(texts.joined(), "\"a,b\"");
  texts.erase({0u});
  EXPECT_EQ(texts.joined(), "");
  texts.append("4");
  EXPECT_EQ(texts.joined(), "4");
}

TEST(JSONElementTexts, goSeveralAtOnce) {
  JSONElementTexts texts;
  for (const char* element : {"0", "11", "222", "3", "44", "555"}) texts.append(element);
  texts.erase({});
  EXPECT_EQ(texts.joined(), "0,11,222,3,44,555");
  texts.erase({1u, 2u, 4u});
  EXPECT_EQ(texts.joined(), "0,3,555");
  EXPECT_EQ(texts.element(1), "3");
  EXPECT_EQ(texts.element(2), "555");
  texts.erase({0u, 1u, 2u});
  EXPECT_EQ(texts.joined(), "");
}

TEST(JSONElementTexts, areThoseOfAListThatChangesInTheSameWay) {
  std::mt19937 random(7);
  JSONElementTexts texts;
  std::vector<std::string> elements;
  for (int step = 0; step < 2000; ++step) {
    const std::string element(1 + random() % 9, static_cast<char>('a' + step % 26));
    const std::size_t position = elements.empty() ? 0 : random() % elements.size();
    const auto at = elements.begin() + static_cast<std::ptrdiff_t>(position);
    switch (elements.empty() ? 0 : random() % 4) {
      case 0:
        texts.insert(position, element);
        elements.insert(at, element);
        break;
      case 1:
        texts.append(element);
        elements.push_back(element);
        break;
      case 2:
        texts.replace(position, element);
        *at = element;
        break;
      default: {
        const std::size_t last = position + random() % (elements.size() - position);
        texts.erase({position, last});
        if (last != position) elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(last));
        elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(position));
      }
    }
    ASSERT_EQ(texts.joined(), joined(elements)) << step;
  }
}

}  // namespace
}  // namespace tovrin
