#include "tools/catalogue.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using json11::Json;

std::string contentOf(const char* file) {
  std::ostringstream content;
  content << std::ifstream(std::string(ORVANE_SOURCE_DIR "/tests/tools/") + file).rdbuf();
  return content.str();
}

const char* nameOf(Shape shape) {
  switch (shape) {
    case Shape::kNoArgument: return "no argument";
    case Shape::kOneString: return "one string";
    case Shape::kPatternSearch: return "pattern search";
    case Shape::kTwoStrings: return "two strings";
    case Shape::kAddressNameMap: return "address-name map";
  }
  return "";
}

TEST(Catalogue, ListsAsTheGoldenReplyByteForByte) {
  ToolRegistry registry;
  registerCatalogue(registry, nullptr);
  EXPECT_EQ(Json(Json::object{{"tools", listTools(registry)}}).dump() + "\n", contentOf("tools_list.json"));
}

TEST(Catalogue, HasTheSelectorsShapesAndArgumentsOfItsTable) {
  std::string table = "# tool\tselector\tshape\targuments in the order sent\n";
  for (const CatalogueEntry& entry : catalogue()) {
    table += std::string(entry.name) + "\t" + entry.selector + "\t" + nameOf(entry.shape) + "\t";
    for (std::size_t i = 0; i < entry.argumentCount(); ++i) {
      table += std::string(i > 0 ? " " : "") + entry.arguments[i].name;
    }
    table += "\n";
  }
  EXPECT_EQ(table, contentOf("selectors.tsv"));
}

TEST(Catalogue, RegistersAHandlerForEachTool) {
  ToolRegistry registry;
  registerCatalogue(registry, nullptr);
  EXPECT_EQ(registry.tools.size(), 34U);
  EXPECT_EQ(registry.handlers.size(), 34U);
  EXPECT_EQ(registry.tools.front().name, "list_documents");
  EXPECT_EQ(registry.tools.back().name, "unset_bookmark");
}

TEST(ArgumentCount, IsThatOfTheShape) {
  EXPECT_EQ(argumentCount(Shape::kNoArgument), 0U);
  EXPECT_EQ(argumentCount(Shape::kOneString), 1U);
  EXPECT_EQ(argumentCount(Shape::kPatternSearch), 2U);
  EXPECT_EQ(argumentCount(Shape::kTwoStrings), 2U);
  EXPECT_EQ(argumentCount(Shape::kAddressNameMap), 1U);
}

}  // namespace
