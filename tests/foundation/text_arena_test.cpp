#include "foundation/text_arena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tovrin {
namespace {

TEST(TextArena, keepsTextsWhereTheyAreWhileItGrows) {
  TextArena arena(64);
  std::vector<std::string_view> texts;
  for (int i = 0; i < 1000; ++i) texts.push_back(arena.add("text " + std::to_string(i) + "."));
  for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(texts[i], "text " + std::to_string(i) + ".");
}

TEST(TextArena, takesATextThatIsLongerThanAChunk) {
  TextArena arena(64);
  const std::string_view small = arena.add("small");
  const std::string_view large = arena.add(std::string(100'000, 'x'));
  EXPECT_EQ(small, "small");
  EXPECT_EQ(large, std::string(100'000, 'x'));
  EXPECT_EQ(arena.add("after"), "after");
}

TEST(TextArena, keepsANameInsideThePathThatItEnds) {
  TextArena arena;
  const std::string_view path = arena.add("/Users/ann/a.jpg");
  const std::string_view name = arena.add("a.jpg");
  EXPECT_EQ(name, "a.jpg");
  EXPECT_EQ(name.end(), path.end());
  const std::string_view other = arena.add("b.jpg");
  EXPECT_EQ(other, "b.jpg");
  EXPECT_EQ(path, "/Users/ann/a.jpg");
}

TEST(TextArena, givesAnEmptyTextAPlace) {
  TextArena arena;
  EXPECT_NE(arena.add("").data(), nullptr);
  EXPECT_TRUE(arena.add("").empty());
}

TEST(TextArena, keepsATextThatRecordsRepeatOnce) {
  TextArena arena;
  const ArenaOptional<std::string_view> one = arena.keep(std::string_view("direct"));
  const ArenaOptional<std::string_view> other = arena.keep(std::string_view("bundle"));
  const ArenaOptional<std::string_view> again = arena.keep(std::string_view("bundle"));
  EXPECT_EQ(*one, "direct");
  EXPECT_EQ(&*other, &*again);
  EXPECT_NE(one, other);
}

TEST(TextArena, alignsListsAndValuesBehindTexts) {
  TextArena arena(256);
  for (int i = 0; i < 100; ++i) {
    arena.add(std::string(static_cast<std::size_t>(i % 7 + 1), 'x'));
    const ArenaList<std::int64_t> list = arena.add(std::vector<std::int64_t>{i, i + 1});
    const ArenaOptional<std::int64_t> value = arena.keep(std::int64_t{i});
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(list.data()) % alignof(std::int64_t), 0U);
    EXPECT_EQ(list[1], i + 1);
    EXPECT_EQ(value, i);
  }
}

TEST(ArenaList, isAsLongAsWhatWasAdded) {
  TextArena arena;
  EXPECT_TRUE(arena.add(std::vector<int>{}).empty());
  EXPECT_EQ(arena.add(std::vector<int>{}).size(), 0U);
  const ArenaList<int> list = arena.add(std::vector<int>{1, 2, 3});
  EXPECT_EQ(list.size(), 3U);
  EXPECT_EQ(std::vector<int>(list.begin(), list.end()), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(list, arena.add(std::vector<int>{1, 2, 3})) << "compared by their elements";
  EXPECT_NE(list, arena.add(std::vector<int>{1, 2}));
  EXPECT_NE(list, ArenaList<int>());
}

TEST(ArenaOptional, isComparedByItsValue) {
  TextArena arena;
  const ArenaOptional<std::int64_t> absent;
  EXPECT_FALSE(absent);
  EXPECT_EQ(absent.value_or(7), 7);
  EXPECT_EQ(std::optional<std::int64_t>(absent), std::nullopt);
  EXPECT_EQ(arena.keep(std::int64_t{5}), arena.keep(std::int64_t{5}));
  EXPECT_NE(arena.keep(std::int64_t{5}), absent);
  EXPECT_EQ(arena.keep(std::int64_t{5}).value_or(7), 5);
}

TEST(ArenaRecord, readsAsAnEmptyOneUntilItIsFilled) {
  struct Point {
    int x = 1;
    int y = 2;
    bool operator==(const Point&) const = default;
  };
  TextArena arena;
  ArenaRecord<Point> record;
  EXPECT_EQ(*record, (Point{1, 2}));
  arena.filling(record).x = 7;
  arena.filling(record).y = 8;
  EXPECT_EQ(*record, (Point{7, 8}));
  EXPECT_NE(record, ArenaRecord<Point>());
  EXPECT_EQ(ArenaRecord<Point>()->y, 2);
}

}  // namespace
}  // namespace tovrin
