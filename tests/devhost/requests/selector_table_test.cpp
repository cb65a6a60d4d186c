#include "devhost/requests/selectors.h"
#include "tools/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

Arguments argumentsOf(const CatalogueEntry& entry) {
  const auto& [first, second] = entry.arguments;
  if (first.name == nullptr) return Arguments::kNone;
  if (second.name != nullptr) {
    return second.type == ArgumentType::kBoolean ? Arguments::kTextAndFlag : Arguments::kTwoTexts;
  }
  return first.type == ArgumentType::kTextMap ? Arguments::kTextByText : Arguments::kText;
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
      EXPECT_EQ(selector.arguments, argumentsOf(entry)) << entry.selector;
    }
  }
}

}  // namespace
