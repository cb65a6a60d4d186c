#include "json/parse_rows.h"

#include <gtest/gtest.h>

using json11::Json;

void expectGood(const std::vector<GoodText>& rows) {
  for (const GoodText& row : rows) {
    std::string error = "left alone";
    const Json value = Json::parse(row.text, error, row.strategy);
    EXPECT_EQ(value.dump(), row.printed) << row.label << ": " << testing::PrintToString(row.text);
    EXPECT_EQ(error, "left alone") << row.label << ": " << testing::PrintToString(row.text);
  }
}

void expectBad(const std::vector<BadText>& rows) {
  for (const BadText& row : rows) {
    std::string error = "to be replaced";
    const Json value = Json::parse(row.text, error, row.strategy);
    EXPECT_EQ(error, row.error) << row.label << ": " << testing::PrintToString(row.text);
    EXPECT_EQ(value.type(), Json::Type::Null) << row.label << ": " << testing::PrintToString(row.text);
  }
}

Json parsed(const std::string& text) {
  std::string error;
  Json value = Json::parse(text, error);
  EXPECT_EQ(error, "") << text;
  return value;
}
