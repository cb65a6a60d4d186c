// Equality and order of values.

#include "json/json.h"
#include "json/payload.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

using json11::Json;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

void expectEqual(const Json& a, const Json& b) {
  EXPECT_TRUE(a == b) << a.dump() << ", " << b.dump();
  EXPECT_FALSE(a != b) << a.dump() << ", " << b.dump();
  EXPECT_FALSE(a < b) << a.dump() << ", " << b.dump();
  EXPECT_FALSE(a > b) << a.dump() << ", " << b.dump();
  EXPECT_TRUE(a <= b) << a.dump() << ", " << b.dump();
  EXPECT_TRUE(a >= b) << a.dump() << ", " << b.dump();
}

void expectLess(const Json& a, const Json& b) {
  EXPECT_FALSE(a == b) << a.dump() << ", " << b.dump();
  EXPECT_TRUE(a != b) << a.dump() << ", " << b.dump();
  EXPECT_TRUE(a < b) << a.dump() << ", " << b.dump();
  EXPECT_FALSE(a > b) << a.dump() << ", " << b.dump();
  EXPECT_TRUE(a <= b) << a.dump() << ", " << b.dump();
  EXPECT_FALSE(a >= b) << a.dump() << ", " << b.dump();
}

/// Values of all kinds from the least to the greatest, no two equal.
std::vector<Json> ascendingValues() {
  return {
      // null, then numbers
      Json(),
      -kInfinity,
      -2147483647 - 1,
      -1.5,
      -1,
      0,
      0.5,
      1,
      1.5,
      4294967296UL,
      18446744073709551615UL,
      1e20,
      kInfinity,
      // booleans
      false,
      true,
      // strings, by unsigned bytes
      "",
      std::string("\0", 1),
      "A",
      "a",
      std::string("a\0", 2),
      "aa",
      "ab",
      "b",
      "\x7F",
      "\x80",
      "\xFF",
      // arrays: a prefix comes first
      Json::array{},
      Json::array{nullptr},
      Json::array{nullptr, nullptr},
      Json::array{1},
      Json::array{1, nullptr},
      Json::array{1, 2},
      Json::array{2},
      Json::array{"a"},
      Json::array{Json::array{}},
      // objects: by first key, then its value, then the next key
      Json::object{},
      Json::object{{"", 5}},
      Json::object{{"a", 1}},
      Json::object{{"a", 1}, {"b", 0}},
      Json::object{{"a", 1}, {"c", 0}},
      Json::object{{"a", 2}},
      Json::object{{"a", 2}, {"b", 0}},
      Json::object{{"aa", 0}},
      Json::object{{"b", 0}},
  };
}

TEST(Order, RunsOverAllKinds) {
  const std::vector<Json> values = ascendingValues();
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = i + 1; j < values.size(); ++j) expectLess(values[i], values[j]);
  }
}

TEST(Order, IsEqualBetweenAValueAndItsTwin) {
  const std::vector<Json> values = ascendingValues();
  const std::vector<Json> twins = ascendingValues();
  for (std::size_t i = 0; i < values.size(); ++i) expectEqual(values[i], twins[i]);
}

TEST(Equality, OfNumbersCrossesTheirClasses) {
  expectEqual(Json(1), Json(1.0));
  expectEqual(Json(1.0), Json(1));
  expectEqual(Json(1), Json(1UL));
  expectEqual(Json(1UL), Json(1));
  expectEqual(Json(1.0), Json(1UL));
  expectEqual(Json(1UL), Json(1.0));
  expectEqual(Json(0.0), Json(-0.0));
  expectEqual(Json(0), Json(-0.0));
}

TEST(Order, OfNumbersCrossesTheirClasses) {
  expectLess(Json(-1), Json(0UL));
  expectLess(Json(-1), Json(18446744073709551615UL));
  expectLess(Json(1), Json(1.5));
  expectLess(Json(1UL), Json(1.5));
  expectLess(Json(0.5), Json(1UL));
}

TEST(Order, OfIntOneIsBelowTrue) {
  expectLess(Json(1), Json(true));
  expectLess(Json(1), Json(false));
}

TEST(Equality, OfLargeUnsigned64IsThatOfTheirDoubles) {
  expectEqual(Json(9007199254740992UL), Json(9007199254740993UL));
  expectEqual(Json(9007199254740993UL), Json(9007199254740992.0));
  expectLess(Json(9007199254740992UL), Json(9007199254740994UL));
  expectEqual(Json(18446744073709551615UL), Json(18446744073709551616.0));
}

/// `leaf` inside so many arrays and objects that a comparison which doubles its work with each level would
/// not end.
Json deeplyNested(const Json& leaf) {
  Json value = leaf;
  for (int depth = 0; depth < 95; ++depth) value = Json::object{{"k", Json::array{value, 1}}};
  return value;
}

TEST(Order, OfDeeplyNestedValuesTakesOneWalk) {
  expectEqual(deeplyNested(1), deeplyNested(1.0));
  expectLess(deeplyNested(1), deeplyNested(2));
  EXPECT_FALSE(deeplyNested(kNaN) < deeplyNested(kNaN));
}

TEST(Order, GoesOnBehindNaN) {
  EXPECT_TRUE(Json(Json::array{kNaN, 1}) < Json(Json::array{kNaN, 2}));
  EXPECT_TRUE(Json(Json::array{kNaN, 1}) < Json(Json::array{0, 2}));
  EXPECT_TRUE(Json(Json::object{{"a", kNaN}, {"b", 1}}) < Json(Json::object{{"a", kNaN}, {"b", 2}}));
}

TEST(Equality, OfNaNHoldsOnlyForASharedPayload) {
  const Json nan = kNaN;
  const Json copy = nan;  // NOLINT(performance-unnecessary-copy-initialization): copies are the test
  EXPECT_TRUE(nan == copy);
  EXPECT_FALSE(nan < copy);
  EXPECT_FALSE(nan == Json(kNaN));
  EXPECT_TRUE(nan != Json(kNaN));
  EXPECT_FALSE(nan == Json(1));
}

TEST(Order, OfNaNIsNeverLess) {
  for (const Json& other : {Json(kNaN), Json(1), Json(1.0), Json(1UL), Json(-kInfinity), Json(kInfinity)}) {
    EXPECT_FALSE(Json(kNaN) < other) << other.dump();
    EXPECT_FALSE(other < Json(kNaN)) << other.dump();
  }
}

TEST(Equality, OfAnArrayWithNaNFollowsItsElements) {
  const Json nan = kNaN;
  EXPECT_TRUE(Json(Json::array{nan}) == Json(Json::array{nan}));
  EXPECT_FALSE(Json(Json::array{nan}) == Json(Json::array{kNaN}));
}

TEST(Equality, OfDifferentKindsIsFalse) {
  EXPECT_NE(Json(0), Json(false));
  EXPECT_NE(Json(), Json(false));
  EXPECT_NE(Json(""), Json());
  EXPECT_NE(Json("1"), Json(1));
  EXPECT_NE(Json(Json::array{}), Json(Json::object{}));
}

TEST(Equality, OfArraysNeedsEqualLengthsAndElements) {
  expectEqual(Json::array{1, "a"}, Json::array{1.0, "a"});
  EXPECT_NE(Json(Json::array{1}), Json(Json::array{1, 1}));
  EXPECT_NE(Json(Json::array{1, 2}), Json(Json::array{2, 1}));
}

TEST(Equality, OfObjectsNeedsEqualKeysAndValues) {
  expectEqual(Json::object{{"a", 1}, {"b", 2}}, Json::object{{"b", 2UL}, {"a", 1.0}});
  EXPECT_NE(Json(Json::object{{"a", 1}}), Json(Json::object{{"a", 1}, {"b", 2}}));
  EXPECT_NE(Json(Json::object{{"a", 1}}), Json(Json::object{{"b", 1}}));
  EXPECT_NE(Json(Json::object{{"a", 1}}), Json(Json::object{{"a", 2}}));
}

TEST(NullPayloads, AreEqualAndNoneIsLess) {
  // Handles on null share one payload, so that these two are never asked of each other.
  const json11::JsonNull one;
  const json11::JsonNull other;
  EXPECT_TRUE(one.equals(&other));
  EXPECT_FALSE(one.less(&other));
}

}  // namespace
