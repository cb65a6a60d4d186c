// The catalogue against what was written down beside it: tools_list.json, the whole reply, and selectors.tsv.

#include "tools/catalogue.h"

#include "mcp/json_rpc.h"
#include "support/recording_transport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using json11::Json;

namespace {

std::string contentOf(const std::string& name) {
  std::ifstream file(ORVANE_SOURCE_DIR "/tests/tools/" + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string joined(const std::vector<std::string>& parts, const char* separator) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : separator) + part;
  return text;
}

const char* nameOf(ArgumentType type) {
  switch (type) {
    case ArgumentType::kText: return "text";
    case ArgumentType::kBoolean: return "boolean";
    case ArgumentType::kTextMap: return "text map";
  }
  return "";
}

/// The tools as a client is told about them.
Json listedTools() {
  ToolRegistry registry;
  registerCatalogue(registry, nullptr);
  return listTools(registry);
}

Json listedTool(const std::string& name) {
  const Json tools = listedTools();
  for (const Json& tool : tools.arrayItems()) {
    if (tool["name"].stringValue() == name) return tool;
  }
  ADD_FAILURE() << "no tool " << name;
  return Json();
}

TEST(Catalogue, IsListedByteForByte) {
  McpServer server;
  registerCatalogue(server.registry, nullptr);
  handleMessage(server, R"({"jsonrpc": "2.0", "id": 1, "method": "tools/list", "params": {"cursor": "x"}})");
  ASSERT_EQ(server.replies.size(), 1U);
  EXPECT_EQ(server.replies[0] + "\n", contentOf("tools_list.json"));
}

TEST(Catalogue, AsksTheHostAsWrittenDown) {
  std::istringstream lines(contentOf("selectors.tsv"));
  std::string line;
  std::getline(lines, line);  // the names of the columns
  for (const CatalogueEntry& entry : catalogue()) {
    std::vector<std::string> keys;
    std::vector<std::string> types;
    for (const Argument& argument : entry.arguments) {
      if (argument.name == nullptr) continue;
      keys.emplace_back(argument.name);
      types.emplace_back(nameOf(argument.type));
    }
    if (keys.empty()) keys = types = {"-"};
    ASSERT_TRUE(std::getline(lines, line)) << entry.name;
    EXPECT_EQ(joined({entry.name, entry.selector, joined(types, ","), joined(keys, ",")}, "\t"), line);
  }
  EXPECT_FALSE(std::getline(lines, line)) << line;
}

TEST(Catalogue, Has34ToolsFromListDocumentsToUnsetBookmark) {
  const Json tools = listedTools();
  ASSERT_EQ(tools.arrayItems().size(), 34U);
  EXPECT_EQ(tools[0]["name"].stringValue(), "list_documents");
  EXPECT_EQ(tools[33]["name"].stringValue(), "unset_bookmark");
}

TEST(Catalogue, RegistersAHandlerForEveryTool) {
  ToolRegistry registry;
  registerCatalogue(registry, nullptr);
  EXPECT_EQ(registry.handlers.size(), 34U);
  for (const CatalogueEntry& entry : catalogue()) {
    const auto handler = registry.handlers.find(entry.name);
    ASSERT_NE(handler, registry.handlers.end()) << entry.name;
    EXPECT_TRUE(handler->second) << entry.name;
  }
}

TEST(Catalogue, GivesAToolWithoutArgumentsNoProperties) {
  EXPECT_EQ(listedTool("list_documents")["inputSchema"].dump(), R"({"properties": {}, "type": "object"})");
}

TEST(Catalogue, RequiresNoArgument) {
  const Json tools = listedTools();
  for (const Json& tool : tools.arrayItems()) {
    EXPECT_EQ(tool["inputSchema"].objectItems().size(), 2U) << tool["name"].stringValue();
  }
}

TEST(Catalogue, DescribesTheNamePatternWithTheTextForStrings) {
  const Json pattern = listedTool("search_name")["inputSchema"]["properties"]["pattern"];
  EXPECT_EQ(pattern["description"].stringValue(), "A regular expression used to filter the strings' name.");
  EXPECT_EQ(pattern, listedTool("search_strings")["inputSchema"]["properties"]["pattern"]);
}

TEST(Catalogue, DescribesTheBookmarkToRemoveWithTheTextForTheOneToSet) {
  const Json address = listedTool("unset_bookmark")["inputSchema"]["properties"]["address"];
  EXPECT_EQ(address["description"].stringValue(),
            "The address where we want to set the bookmark. Leave unset for the current address.");
  EXPECT_EQ(address, listedTool("set_bookmark")["inputSchema"]["properties"]["address"]);
}

TEST(Catalogue, KeepsItsSpelling) {
  const std::string list = contentOf("tools_list.json");
  for (const char* const words : {"dictionnary", "prefered", "basic-blocs", "writeable",
                                  "to set the a name (label)", "the list method that she is calling"}) {
    EXPECT_NE(list.find(words), std::string::npos) << words;
    EXPECT_NE(listedTools().dump().find(words), std::string::npos) << words;
  }
}

}  // namespace
