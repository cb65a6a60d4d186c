#include "json/json.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <type_traits>

namespace {

using json11::Json;

// --- construction ---

TEST(Construction, GivesTheKindOfItsArgument) {
  EXPECT_EQ(Json().type(), Json::Type::Null);
  EXPECT_EQ(Json(nullptr).type(), Json::Type::Null);
  EXPECT_EQ(Json(1.5).type(), Json::Type::Number);
  EXPECT_EQ(Json(1).type(), Json::Type::Number);
  EXPECT_EQ(Json(1UL).type(), Json::Type::Number);
  EXPECT_EQ(Json(true).type(), Json::Type::Bool);
  EXPECT_EQ(Json("a").type(), Json::Type::String);
  EXPECT_EQ(Json(std::string("a")).type(), Json::Type::String);
  EXPECT_EQ(Json(Json::array{}).type(), Json::Type::Array);
  EXPECT_EQ(Json(Json::object{}).type(), Json::Type::Object);
}

TEST(Construction, OfTheKindsHasTheirNumbers) {
  EXPECT_EQ(static_cast<int>(Json::Type::Null), 0);
  EXPECT_EQ(static_cast<int>(Json::Type::Number), 1);
  EXPECT_EQ(static_cast<int>(Json::Type::Bool), 2);
  EXPECT_EQ(static_cast<int>(Json::Type::String), 3);
  EXPECT_EQ(static_cast<int>(Json::Type::Array), 4);
  EXPECT_EQ(static_cast<int>(Json::Type::Object), 5);
  EXPECT_EQ(sizeof(Json::Type), 4U);
  EXPECT_EQ(static_cast<int>(json11::JsonParse::Standard), 0);
  EXPECT_EQ(static_cast<int>(json11::JsonParse::Comments), 1);
}

TEST(Construction, ByMoveLeavesTheSourceEmpty) {
  std::string text = "a text that is too long to be stored in place";
  Json::array values{1, 2};
  Json::object members{{"a", 1}};
  EXPECT_EQ(Json(std::move(text)).stringValue().size(), 45U);
  EXPECT_EQ(Json(std::move(values)).arrayItems().size(), 2U);
  EXPECT_EQ(Json(std::move(members)).objectItems().size(), 1U);
  EXPECT_TRUE(text.empty());     // NOLINT(bugprone-use-after-move): what is left behind is the test
  EXPECT_TRUE(values.empty());   // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(members.empty());  // NOLINT(bugprone-use-after-move)
}

TEST(Construction, ByCopyLeavesTheSourceAlone) {
  const std::string text = "a";
  const Json::array values{1};
  const Json::object members{{"a", 1}};
  EXPECT_EQ(Json(text).stringValue(), text);
  EXPECT_EQ(Json(values).arrayItems(), values);
  EXPECT_EQ(Json(members).objectItems(), members);
}

TEST(Construction, FromANullCStringThrowsTheLibrarysLogicError) {
  const char* const nothing = nullptr;
  try {
    const Json value(nothing);
    FAIL() << "no exception";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
}

TEST(Construction, FromOtherPointersIsNotPossible) {
  EXPECT_FALSE((std::is_constructible_v<Json, void*>));
  EXPECT_FALSE((std::is_constructible_v<Json, int*>));
}

TEST(Copy, SharesThePayload) {
  const Json a("a text");
  const Json b = a;
  EXPECT_EQ(&a.stringValue(), &b.stringValue());
}

TEST(Defaults, AreSharedByAllValues) {
  EXPECT_EQ(&Json().stringValue(), &Json(1).stringValue());
  EXPECT_EQ(&Json().arrayItems(), &Json("a").arrayItems());
  EXPECT_EQ(&Json().objectItems(), &Json(true).objectItems());
  EXPECT_EQ(&Json()["a"], &Json(Json::object{})["b"]);
  EXPECT_EQ(&Json()[0], &Json(Json::array{})[5]);
}

// --- access ---

TEST(Access, OfTheWrongKindGivesTheDefault) {
  for (const Json& value :
       {Json(), Json(true), Json("a"), Json(Json::array{1}), Json(Json::object{{"a", 1}})}) {
    EXPECT_EQ(value.numberValue(), 0.0);
    EXPECT_EQ(value.intValue(), 0);
    EXPECT_EQ(value.uint64Value(), 0U);
  }
  for (const Json& value : {Json(), Json(1), Json("a"), Json(Json::array{1}), Json(Json::object{{"a", 1}})}) {
    EXPECT_FALSE(value.boolValue());
  }
  for (const Json& value :
       {Json(), Json(1), Json(true), Json(Json::array{1}), Json(Json::object{{"a", 1}})}) {
    EXPECT_EQ(value.stringValue(), "");
  }
  EXPECT_TRUE(Json(Json::object{{"a", 1}}).arrayItems().empty());
  EXPECT_TRUE(Json(Json::array{1}).objectItems().empty());
  EXPECT_EQ(Json(Json::object{{"a", 1}})[0], Json());
  EXPECT_EQ(Json(Json::array{1})["a"], Json());
}

TEST(Access, ByIndexGivesTheElementOrNull) {
  const Json value = Json::array{"a", "b"};
  EXPECT_EQ(value[0], Json("a"));
  EXPECT_EQ(value[1], Json("b"));
  EXPECT_EQ(value[2], Json());
  EXPECT_EQ(value[std::numeric_limits<std::size_t>::max()], Json());
  EXPECT_EQ(Json(Json::array{})[0], Json());
}

TEST(Access, ByKeyGivesTheMemberOrNullAndInsertsNothing) {
  const Json value = Json::object{{"a", 1}};
  EXPECT_EQ(value["a"], Json(1));
  EXPECT_EQ(value["b"], Json());
  EXPECT_EQ(value["A"], Json());
  EXPECT_EQ(value.objectItems().size(), 1U);
  EXPECT_EQ(Json("text")["k"], Json());
}

TEST(Access, ToIntsIsExactAndExtendsTheSign) {
  EXPECT_EQ(Json(-5).intValue(), -5);
  EXPECT_EQ(Json(-5).numberValue(), -5.0);
  EXPECT_EQ(Json(-1).uint64Value(), 18446744073709551615UL);
  EXPECT_EQ(Json(7).uint64Value(), 7U);
}

TEST(Access, ToDoublesTruncatesTowardZero) {
  EXPECT_EQ(Json(3.9).intValue(), 3);
  EXPECT_EQ(Json(-3.9).intValue(), -3);
  EXPECT_EQ(Json(2147483647.9).intValue(), 2147483647);
  EXPECT_EQ(Json(-2147483648.9).intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(Json(-2147483647.0).intValue(), -2147483647);
  EXPECT_EQ(Json(3.9).uint64Value(), 3U);
  EXPECT_EQ(Json(-1.0).uint64Value(), 18446744073709551615UL);
  EXPECT_EQ(Json(-1.9).uint64Value(), 18446744073709551615UL);
  EXPECT_EQ(Json(-9223372036854775808.0).uint64Value(), 9223372036854775808UL);
  EXPECT_EQ(Json(9223372036854774784.0).uint64Value(), 9223372036854774784UL);
  EXPECT_EQ(Json(9223372036854775808.0).uint64Value(), 9223372036854775808UL);
  EXPECT_EQ(Json(18446744073709549568.0).uint64Value(), 18446744073709549568UL);
}

TEST(Access, ToDoublesThatDoNotFitIsDefined) {
  for (const double value :
       {1e300, -1e300, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(Json(value).intValue(), std::numeric_limits<int>::min());
    EXPECT_EQ(Json(value).uint64Value(), 9223372036854775808UL);
  }
  EXPECT_EQ(Json(2147483648.0).intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(Json(18446744073709551616.0).uint64Value(), 9223372036854775808UL);
}

TEST(Access, ToUnsignedValuesIsExactAndTheirIntIsTheLowHalf) {
  EXPECT_EQ(Json(18446744073709551615UL).uint64Value(), 18446744073709551615UL);
  EXPECT_EQ(Json(4294967296UL).intValue(), 0);
  EXPECT_EQ(Json(4294967295UL).intValue(), -1);
  EXPECT_EQ(Json(2147483648UL).intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(Json(18446744073709551615UL).numberValue(), 18446744073709551616.0);
}

// --- comparison ---

TEST(Equality, OfNumbersCrossesTheirClasses) {
  EXPECT_EQ(Json(1), Json(1.0));
  EXPECT_EQ(Json(1), Json(1UL));
  EXPECT_EQ(Json(1.0), Json(1UL));
  EXPECT_EQ(Json(1UL), Json(1));
  EXPECT_NE(Json(1), Json(2));
  EXPECT_NE(Json(1UL), Json(1.5));
  EXPECT_EQ(Json(9007199254740993UL), Json(9007199254740992.0)) << "compared as doubles";
}

TEST(Equality, OfNaNHoldsForTheSamePayloadOnly) {
  const Json nan(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(nan, nan);
  EXPECT_NE(nan, Json(std::numeric_limits<double>::quiet_NaN()));
}

TEST(Equality, OfEachKindIsThatOfItsValue) {
  EXPECT_EQ(Json(), Json(nullptr));
  EXPECT_NE(Json(), Json(false));
  EXPECT_EQ(Json("a"), Json(std::string("a")));
  EXPECT_NE(Json("a"), Json("b"));
  EXPECT_EQ(Json(Json::array{1, "a"}), Json(Json::array{1.0, "a"}));
  EXPECT_NE(Json(Json::array{1}), Json(Json::array{1, 2}));
  EXPECT_NE(Json(Json::array{1}), Json(Json::array{2}));
  EXPECT_EQ(Json(Json::object{{"a", 1}}), Json(Json::object{{"a", 1UL}}));
  EXPECT_NE(Json(Json::object{{"a", 1}}), Json(Json::object{{"b", 1}}));
  EXPECT_NE(Json(Json::object{{"a", 1}}), Json(Json::object{{"a", 1}, {"b", 2}}));
  EXPECT_NE(Json(true), Json(false));
}

TEST(Order, OfDifferentKindsIsThatOfTheKinds) {
  const Json rising[] = {
      Json(), Json(99), Json(false), Json("z"), Json(Json::array{9}), Json(Json::object{})};
  for (std::size_t i = 0; i < std::size(rising); ++i) {
    for (std::size_t j = 0; j < std::size(rising); ++j) EXPECT_EQ(rising[i] < rising[j], i < j);
  }
  EXPECT_LT(Json(1), Json(true));
}

TEST(Order, OfOneKindIsThatOfTheValues) {
  EXPECT_LT(Json(1), Json(1.5));
  EXPECT_LT(Json(1.5), Json(2UL));
  EXPECT_LT(Json(-1), Json(0UL));
  EXPECT_FALSE(Json(2UL) < Json(2));
  EXPECT_LT(Json(false), Json(true));
  EXPECT_FALSE(Json(true) < Json(false));
  EXPECT_FALSE(Json() < Json(nullptr));
  EXPECT_LT(Json("a"), Json("b"));
  EXPECT_LT(Json("a"), Json("aa"));
  EXPECT_LT(Json("z"), Json("\xC3\xA9"));
  EXPECT_LT(Json(Json::array{1}), Json(Json::array{1, 0}));
  EXPECT_LT(Json(Json::array{1, 5}), Json(Json::array{2}));
  EXPECT_LT(Json(Json::object{{"a", 1}}), Json(Json::object{{"a", 2}}));
  EXPECT_LT(Json(Json::object{{"a", 9}}), Json(Json::object{{"b", 0}}));
}

TEST(Order, OfNaNIsNone) {
  const Json nan(std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(nan < Json(1));
  EXPECT_FALSE(Json(1) < nan);
  EXPECT_FALSE(nan < nan);
}

TEST(Order, HasItsDerivedComparisons) {
  const Json value(1);
  EXPECT_FALSE(value < value);
  EXPECT_TRUE(value <= value);
  EXPECT_TRUE(value >= value);
  EXPECT_TRUE(Json(2) > Json(1));
  EXPECT_TRUE(Json(1) <= Json(1.0));
  EXPECT_FALSE(Json(1) >= Json(2));
}

TEST(Singletons, OfNullAreEqualHoweverMade) {
  EXPECT_FALSE(Json() < Json());
  EXPECT_EQ(Json(Json::array{})[0], Json());
}

// --- hasShape ---

TEST(HasShape, HoldsForListedMembersOfTheListedKinds) {
  std::string error = "before";
  const Json value = Json::object{{"a", 1}, {"b", "x"}, {"c", Json::array{}}};
  EXPECT_TRUE(value.hasShape({{"a", Json::Type::Number}, {"c", Json::Type::Array}}, error));
  EXPECT_TRUE(value.hasShape({}, error));
  EXPECT_EQ(error, "before");
}

TEST(HasShape, TakesAMissingMemberForNull) {
  std::string error;
  EXPECT_TRUE(Json(Json::object{{"a", 1}}).hasShape({{"b", Json::Type::Null}}, error));
  EXPECT_FALSE(Json(Json::object{{"a", 1}}).hasShape({{"b", Json::Type::Bool}}, error));
  EXPECT_EQ(error, R"(bad type for b in {"a": 1})");
}

TEST(HasShape, NamesTheFirstMemberOfAnotherKind) {
  std::string error;
  const Json value = Json::object{{"a", 1}, {"b", 2}};
  EXPECT_FALSE(
      value.hasShape({{"a", Json::Type::Number}, {"b", Json::Type::String}, {"c", Json::Type::Bool}}, error));
  EXPECT_EQ(error, R"(bad type for b in {"a": 1, "b": 2})");
  EXPECT_FALSE(Json(Json::object{{"a", 1}}).hasShape({{"a", Json::Type::String}}, error));
  EXPECT_EQ(error, R"(bad type for a in {"a": 1})");
}

TEST(HasShape, FailsForWhatIsNoObject) {
  std::string error;
  EXPECT_FALSE(Json("text").hasShape({}, error));
  EXPECT_EQ(error, R"(expected JSON object, got "text")");
}

}  // namespace
