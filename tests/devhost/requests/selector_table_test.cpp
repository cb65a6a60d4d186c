#include "devhost/requests/selectors.h"
#include "tools/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

Arguments argumentsOf(Shape shape) {
  switch (shape) {
    case Shape::kNoArgument: return Arguments::kNone;
    case Shape::kOneString: return Arguments::kText;
    case Shape::kPatternSearch: return Arguments::kTextAndFlag;
    case Shape::kTwoStrings: return Arguments::kTwoTexts;
    case Shape::kAddressNameMap: return Arguments::kTextByText;
  }
  return Arguments::kNone;
}

TEST(SelectorTable, AnswersExactlyWhatTheToolsAsk) {
  std::vector<std::string> asked;
  for (const CatalogueEntry& entry : catalogue()) asked.emplace_back(entry.selector);
  std::vector<std::string> answered;
  for (const Selector& selector : selectors()) answered.emplace_back(selector.name);
  EXPECT_EQ(answered.size(), 34U);
  EXPECT_THAT(answered, testing::UnorderedElementsAreArray(asked));
}

TEST(SelectorTable, TakesTheArgumentsThatTheToolsSend) {
  for (const CatalogueEntry& entry : catalogue()) {
    for (const Selector& selector : selectors()) {
      if (std::string(selector.name) != entry.selector) continue;
      EXPECT_EQ(selector.arguments, argumentsOf(entry.shape)) << entry.selector;
    }
  }
}

}  // namespace
