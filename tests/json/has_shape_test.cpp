// Json::hasShape: an object's members and their kinds.

#include "json/json.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using json11::Json;

namespace {

struct ShapeRow {
  const char* label;
  Json value;
  Json::shape shape;
  std::string error;  ///< empty: the value has the shape
};

TEST(HasShape, ComparesTheKindsOfTheListedMembers) {
  const Json object = Json::object{{"a", 1}, {"s", "x"}};
  const std::vector<ShapeRow> rows = {
      {"no object", Json("x"), {}, "expected JSON object, got \"x\""},
      {"no object, whatever the shape", Json(), {{"a", Json::Type::Null}}, "expected JSON object, got null"},
      {"an array", Json(Json::array{1, 2}), {}, "expected JSON object, got [1, 2]"},
      {"empty shape", object, {}, ""},
      {"right kinds", object, {{"a", Json::Type::Number}, {"s", Json::Type::String}}, ""},
      {"missing member read as null", Json(Json::object{{"a", 1}}), {{"b", Json::Type::Null}}, ""},
      {"wrong kind",
       Json(Json::object{{"a", 1}}),
       {{"a", Json::Type::String}},
       "bad type for a in {\"a\": 1}"},
      {"missing member", object, {{"b", Json::Type::Bool}}, "bad type for b in {\"a\": 1, \"s\": \"x\"}"},
      {"the first wrong one of the shape",
       object,
       {{"s", Json::Type::String}, {"s", Json::Type::Array}, {"a", Json::Type::Null}},
       "bad type for s in {\"a\": 1, \"s\": \"x\"}"},
      {"present where null is asked for",
       object,
       {{"a", Json::Type::Null}},
       "bad type for a in {\"a\": 1, \"s\": \"x\"}"},
  };
  for (const ShapeRow& row : rows) {
    std::string error = "left alone";
    EXPECT_EQ(row.value.hasShape(row.shape, error), row.error.empty()) << row.label;
    EXPECT_EQ(error, row.error.empty() ? "left alone" : row.error) << row.label;
  }
}

}  // namespace
