// Building values from C++ ones.

#include "json/json.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using json11::Json;

namespace {

const std::string kLongText(100, 'x');

TEST(Construct, DefaultAndNullptrAreNull) {
  EXPECT_EQ(Json().type(), Json::Type::Null);
  EXPECT_EQ(Json(nullptr).type(), Json::Type::Null);
  EXPECT_EQ(Json(nullptr), Json());
}

TEST(Construct, EachNumberKeepsItsClass) {
  EXPECT_EQ(Json(-5).dump(), "-5");
  EXPECT_EQ(Json(0.1).dump(), "0.10000000000000001");
  EXPECT_EQ(Json(18446744073709551615UL).dump(), "18446744073709551615");
}

TEST(Construct, FromBool) {
  EXPECT_EQ(Json(true).type(), Json::Type::Bool);
  EXPECT_TRUE(Json(true).boolValue());
  EXPECT_EQ(Json(false).type(), Json::Type::Bool);
  EXPECT_FALSE(Json(false).boolValue());
}

TEST(Construct, FromAStringCopiesIt) {
  std::string source = kLongText;
  const Json value = source;
  EXPECT_EQ(source, kLongText);
  source[0] = 'y';
  EXPECT_EQ(value.stringValue(), kLongText);
}

TEST(Construct, FromAStringKeepsEveryByte) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  EXPECT_EQ(Json(bytes).stringValue(), bytes);
}

// A moved-from source is promised to be empty, so the tests look at it.
// NOLINTBEGIN(bugprone-use-after-move)

TEST(Construct, FromAMovedStringLeavesTheSourceEmpty) {
  for (const std::string& text : {std::string("short"), kLongText}) {
    std::string source = text;
    const Json value = std::move(source);
    EXPECT_EQ(value.stringValue(), text);
    EXPECT_EQ(source, "");
  }
}

TEST(Construct, FromAMovedStringTakesItsStorage) {
  std::string source = kLongText;
  const auto storage = reinterpret_cast<std::uintptr_t>(source.data());
  const Json value = std::move(source);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(value.stringValue().data()), storage);
}

TEST(Construct, FromAMovedArrayLeavesTheSourceEmpty) {
  Json::array source{1, "two"};
  const Json* const storage = source.data();
  const Json value = std::move(source);
  EXPECT_EQ(value.dump(), "[1, \"two\"]");
  EXPECT_EQ(value.arrayItems().data(), storage);
  EXPECT_TRUE(source.empty());
}

TEST(Construct, FromAMovedObjectLeavesTheSourceEmpty) {
  Json::object source{{"a", 1}};
  const Json* const member = &source["a"];
  const Json value = std::move(source);
  EXPECT_EQ(value.dump(), "{\"a\": 1}");
  EXPECT_EQ(&value["a"], member);
  EXPECT_TRUE(source.empty());
}

// NOLINTEND(bugprone-use-after-move)

TEST(Construct, FromACStringIsAStringAndNotABool) {
  const char* const text = "text";
  EXPECT_EQ(Json(text).type(), Json::Type::String);
  EXPECT_EQ(Json(text).stringValue(), "text");
  EXPECT_EQ(Json("").type(), Json::Type::String);

  char buffer[] = "buffer";
  char* const writable = buffer;
  EXPECT_EQ(Json(buffer).stringValue(), "buffer");
  EXPECT_EQ(Json(writable).stringValue(), "buffer");
}

TEST(Construct, FromOtherPointersIsNotPossible) {
  struct Some {
    int field;
  };
  static_assert(!std::is_constructible_v<Json, void*>);
  static_assert(!std::is_constructible_v<Json, const void*>);
  static_assert(!std::is_constructible_v<Json, int*>);
  static_assert(!std::is_constructible_v<Json, const int*>);
  static_assert(!std::is_constructible_v<Json, volatile char*>);
  static_assert(!std::is_constructible_v<Json, const unsigned char*>);
  static_assert(!std::is_constructible_v<Json, decltype(u8"x")>);
  static_assert(!std::is_constructible_v<Json, decltype(L"x")>);
  static_assert(!std::is_constructible_v<Json, Json*>);
  static_assert(!std::is_constructible_v<Json, void (*)()>);
  static_assert(!std::is_constructible_v<Json, void()>);
  static_assert(!std::is_constructible_v<Json, decltype([] {})>);
  static_assert(!std::is_constructible_v<Json, decltype([](int) { return 1; })&>);
  static_assert(!std::is_constructible_v<Json, int Some::*>);
  static_assert(!std::is_constructible_v<Json, int (Some::*)()>);
  static_assert(std::is_constructible_v<Json, const char*>);
  static_assert(std::is_constructible_v<Json, decltype("x")>);
  static_assert(std::is_constructible_v<Json, std::nullptr_t>);
  static_assert(std::is_constructible_v<Json, std::vector<bool>::reference>);
  static_assert(std::is_constructible_v<Json, std::true_type>);
}

TEST(Construct, FromANullCStringThrows) {
  const char* const none = nullptr;
  try {
    const Json value(none);
    FAIL() << "got " << value.dump();
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "basic_string::_M_construct null not valid");
  }
}

TEST(Construct, FromAnArrayCopiesIt) {
  Json::array source{1, 2};
  const Json value = source;
  source[0] = 9;
  EXPECT_EQ(value.dump(), "[1, 2]");
}

TEST(Construct, FromAnObjectCopiesIt) {
  Json::object source{{"a", 1}};
  const Json value = source;
  source["a"] = 9;
  EXPECT_EQ(value.dump(), "{\"a\": 1}");
}

}  // namespace
