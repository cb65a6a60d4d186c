// Reading values: kinds, conversions, and what the wrong kind reads as.

#include "json/json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using json11::Json;
using json11::JsonParse;

namespace {

constexpr std::uint64_t kMaxUInt64 = std::numeric_limits<std::uint64_t>::max();
constexpr double kTwoToThe63 = 9223372036854775808.0;

struct Sample {
  const char* label;
  Json value;
  Json::Type type;
};

/// One value of each payload.
std::vector<Sample> samples() {
  return {
      {"null", Json(), Json::Type::Null},
      {"double", Json(1.5), Json::Type::Number},
      {"int", Json(7), Json::Type::Number},
      {"unsigned 64-bit", Json(7UL), Json::Type::Number},
      {"bool", Json(true), Json::Type::Bool},
      {"string", Json("text"), Json::Type::String},
      {"array", Json(Json::array{1, 2}), Json::Type::Array},
      {"object", Json(Json::object{{"a", 1}}), Json::Type::Object},
  };
}

TEST(Type, HasItsFixedNumbers) {
  EXPECT_EQ(static_cast<int>(Json::Type::Null), 0);
  EXPECT_EQ(static_cast<int>(Json::Type::Number), 1);
  EXPECT_EQ(static_cast<int>(Json::Type::Bool), 2);
  EXPECT_EQ(static_cast<int>(Json::Type::String), 3);
  EXPECT_EQ(static_cast<int>(Json::Type::Array), 4);
  EXPECT_EQ(static_cast<int>(Json::Type::Object), 5);
  EXPECT_EQ(sizeof(Json::Type), 4U);
}

TEST(Type, IsTheKindOfEveryPayload) {
  for (const Sample& sample : samples()) EXPECT_EQ(sample.value.type(), sample.type) << sample.label;
}

TEST(JsonParse, HasItsFixedNumbers) {
  EXPECT_EQ(static_cast<int>(JsonParse::Standard), 0);
  EXPECT_EQ(static_cast<int>(JsonParse::Comments), 1);
}

// --- the wrong kind ---

TEST(NumberValue, IsZeroUnlessTheValueIsANumber) {
  for (const Sample& sample : samples()) {
    if (sample.type == Json::Type::Number) continue;
    EXPECT_EQ(sample.value.numberValue(), 0.0) << sample.label;
    EXPECT_EQ(sample.value.intValue(), 0) << sample.label;
    EXPECT_EQ(sample.value.uint64Value(), 0U) << sample.label;
  }
}

TEST(BoolValue, IsFalseUnlessTheValueIsTrue) {
  for (const Sample& sample : samples()) {
    EXPECT_EQ(sample.value.boolValue(), sample.type == Json::Type::Bool) << sample.label;
  }
  EXPECT_FALSE(Json(false).boolValue());
}

TEST(StringValue, IsTheSharedEmptyStringUnlessTheValueIsAString) {
  const Json nothing;
  const std::string& empty = nothing.stringValue();
  EXPECT_EQ(empty, "");
  for (const Sample& sample : samples()) {
    if (sample.type == Json::Type::String) {
      EXPECT_EQ(sample.value.stringValue(), "text");
    } else {
      EXPECT_EQ(&sample.value.stringValue(), &empty) << sample.label;
    }
  }
}

TEST(ArrayItems, IsTheSharedEmptyArrayUnlessTheValueIsAnArray) {
  const Json nothing;
  const Json::array& empty = nothing.arrayItems();
  EXPECT_TRUE(empty.empty());
  for (const Sample& sample : samples()) {
    if (sample.type == Json::Type::Array) {
      EXPECT_EQ(sample.value.arrayItems(), (Json::array{1, 2}));
    } else {
      EXPECT_EQ(&sample.value.arrayItems(), &empty) << sample.label;
    }
  }
}

TEST(ObjectItems, IsTheSharedEmptyObjectUnlessTheValueIsAnObject) {
  const Json nothing;
  const Json::object& empty = nothing.objectItems();
  EXPECT_TRUE(empty.empty());
  for (const Sample& sample : samples()) {
    if (sample.type == Json::Type::Object) {
      EXPECT_EQ(sample.value.objectItems(), (Json::object{{"a", 1}}));
    } else {
      EXPECT_EQ(&sample.value.objectItems(), &empty) << sample.label;
    }
  }
}

TEST(ElementAccess, GivesTheSharedNullUnlessTheElementExists) {
  const Json nothing;
  const Json& sharedNull = nothing[0];
  EXPECT_EQ(sharedNull, Json());
  for (const Sample& sample : samples()) {
    const std::string before = sample.value.dump();
    EXPECT_EQ(&sample.value[2], &sharedNull) << sample.label;
    EXPECT_EQ(&sample.value[std::numeric_limits<std::size_t>::max()], &sharedNull) << sample.label;
    EXPECT_EQ(&sample.value["k"], &sharedNull) << sample.label;
    EXPECT_EQ(sample.value.dump(), before) << sample.label;
  }
}

TEST(ElementAccess, OfAnEmptyArrayIsNull) {
  const Json empty = Json::array{};
  EXPECT_EQ(empty[0], Json());
  EXPECT_EQ(empty.dump(), "[]");
}

TEST(ElementAccess, OfAStringByKeyIsNull) {
  const Json text = "value";
  EXPECT_EQ(text["k"], Json());
  EXPECT_EQ(text.dump(), "\"value\"");
}

TEST(ElementAccess, IsAReferenceIntoTheArray) {
  const Json values = Json::array{"first", "second"};
  EXPECT_EQ(values[0].stringValue(), "first");
  EXPECT_EQ(&values[1], &values.arrayItems()[1]);
}

TEST(MemberAccess, IsAReferenceIntoTheObjectAndNeverInserts) {
  const Json members = Json::object{{"a", 1}, {"", 2}, {std::string("a\0b", 3), 3}};
  EXPECT_EQ(members["a"], Json(1));
  EXPECT_EQ(members[""], Json(2));
  EXPECT_EQ(members[std::string("a\0b", 3)], Json(3));
  EXPECT_EQ(&members["a"], &members.objectItems().at("a"));
  EXPECT_EQ(members["A"], Json());
  EXPECT_EQ(members.objectItems().size(), 3U);
}

// --- numbers ---

TEST(NumberValue, IsExactForIntsAndNearestForUnsigned64) {
  EXPECT_EQ(Json(-2147483647 - 1).numberValue(), -2147483648.0);
  EXPECT_EQ(Json(2147483647).numberValue(), 2147483647.0);
  EXPECT_EQ(Json(0.1).numberValue(), 0.1);
  EXPECT_EQ(Json(9007199254740993UL).numberValue(), 9007199254740992.0);
  EXPECT_EQ(Json(9007199254740995UL).numberValue(), 9007199254740996.0);
  EXPECT_EQ(Json(kMaxUInt64).numberValue(), 18446744073709551616.0);
}

TEST(IntValue, OfADoubleTruncatesTowardZero) {
  EXPECT_EQ(Json(3.9).intValue(), 3);
  EXPECT_EQ(Json(-3.9).intValue(), -3);
  EXPECT_EQ(Json(0.999).intValue(), 0);
  EXPECT_EQ(Json(-0.999).intValue(), 0);
  EXPECT_EQ(Json(2147483647.9).intValue(), 2147483647);
  EXPECT_EQ(Json(-2147483648.9).intValue(), -2147483647 - 1);
}

TEST(IntValue, OfADoubleThatDoesNotFitIsTheLowestInt) {
  const int lowest = std::numeric_limits<int>::min();
  for (const double value : {2147483648.0, -2147483649.0, 1e300, -1e300}) {
    EXPECT_EQ(Json(value).intValue(), lowest) << value;
  }
  EXPECT_EQ(Json(std::numeric_limits<double>::infinity()).intValue(), lowest);
  EXPECT_EQ(Json(std::numeric_limits<double>::quiet_NaN()).intValue(), lowest);
}

TEST(IntValue, OfAnUnsigned64IsItsLow32BitsReadAsSigned) {
  EXPECT_EQ(Json(4294967296UL).intValue(), 0);
  EXPECT_EQ(Json(4294967295UL).intValue(), -1);
  EXPECT_EQ(Json(2147483648UL).intValue(), -2147483647 - 1);
  EXPECT_EQ(Json(0x1234567800000005UL).intValue(), 5);
  EXPECT_EQ(Json(kMaxUInt64).intValue(), -1);
}

TEST(UInt64Value, OfAnIntExtendsItsSign) {
  EXPECT_EQ(Json(-1).uint64Value(), 18446744073709551615U);
  EXPECT_EQ(Json(2147483647).uint64Value(), 2147483647U);
  EXPECT_EQ(Json(-2147483647 - 1).uint64Value(), 0xFFFFFFFF80000000U);
}

TEST(UInt64Value, OfAnUnsigned64IsExact) {
  for (const std::uint64_t value : {std::uint64_t{0}, std::uint64_t{9007199254740993}, kMaxUInt64}) {
    EXPECT_EQ(Json(value).uint64Value(), value);
  }
}

TEST(UInt64Value, OfADoubleTruncatesTowardZero) {
  EXPECT_EQ(Json(1.9).uint64Value(), 1U);
  EXPECT_EQ(Json(0.0).uint64Value(), 0U);
  EXPECT_EQ(Json(9223372036854774784.0).uint64Value(), 9223372036854774784U);  // the last below 2^63
  EXPECT_EQ(Json(kTwoToThe63).uint64Value(), 9223372036854775808U);
  EXPECT_EQ(Json(9223372036854777856.0).uint64Value(), 9223372036854777856U);    // the first above 2^63
  EXPECT_EQ(Json(18446744073709549568.0).uint64Value(), 18446744073709549568U);  // the last below 2^64
}

TEST(UInt64Value, OfANegativeDoubleIsTheTwosComplementOfItsTruncation) {
  EXPECT_EQ(Json(-1.0).uint64Value(), 18446744073709551615U);
  EXPECT_EQ(Json(-1.9).uint64Value(), 18446744073709551615U);
  EXPECT_EQ(Json(-0.9).uint64Value(), 0U);
  EXPECT_EQ(Json(-4294967296.0).uint64Value(), 0xFFFFFFFF00000000U);
  EXPECT_EQ(Json(-kTwoToThe63).uint64Value(), 9223372036854775808U);
}

TEST(UInt64Value, OfADoubleThatDoesNotFitIsTwoToThe63) {
  for (const double value : {18446744073709551616.0, 1e300, -1e300}) {
    EXPECT_EQ(Json(value).uint64Value(), 9223372036854775808U) << value;
  }
  EXPECT_EQ(Json(std::numeric_limits<double>::quiet_NaN()).uint64Value(), 9223372036854775808U);
}

// --- sharing ---

TEST(Copy, SharesThePayload) {
  const Json text = std::string(1000, 'x');
  const Json array = Json::array{1, 2, 3};
  const Json object = Json::object{{"a", 1}};
  const Json textCopy = text;
  const Json arrayCopy = array;
  const Json objectCopy = object;
  EXPECT_EQ(&textCopy.stringValue(), &text.stringValue());
  EXPECT_EQ(&arrayCopy.arrayItems(), &array.arrayItems());
  EXPECT_EQ(&objectCopy.objectItems(), &object.objectItems());
}

TEST(Copy, IntoAContainerSharesThePayload) {
  const Json text = "a text that is shared";
  const Json array = Json::array{text, text};
  const Json object = Json::object{{"t", text}};
  EXPECT_EQ(&array[0].stringValue(), &text.stringValue());
  EXPECT_EQ(&array[1].stringValue(), &text.stringValue());
  EXPECT_EQ(&object["t"].stringValue(), &text.stringValue());
}

TEST(Copy, KeepsThePayloadAliveWhenTheFirstHandleGoes) {
  Json copy;
  {
    const Json original = Json::array{"kept"};
    copy = original;
  }
  EXPECT_EQ(copy.dump(), "[\"kept\"]");
}

TEST(Copy, WorksOnSeveralThreadsAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kCopies = 20000;
  const Json shared = Json::object{{"list", Json::array{1, "two", nullptr, true}}};
  std::vector<int> wrong(kThreads, 0);
  std::vector<std::thread> threads;
  for (int& count : wrong) {
    threads.emplace_back([&shared, &count] {
      for (int i = 0; i < kCopies; ++i) {
        const Json copy = shared;
        const Json list = copy["list"];
        if (list[1].stringValue() != "two" || list[9] != Json() || !list[3].boolValue()) ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(wrong, testing::Each(0));
  EXPECT_EQ(shared.dump(), R"({"list": [1, "two", null, true]})");
}

}  // namespace
