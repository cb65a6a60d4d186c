#include "mcp/tool_registry.h"

#include <gtest/gtest.h>

namespace {

using json11::Json;

ToolHandler answering(const char* text) {
  return [text](const Json&, std::string&) { return Json(text); };
}

TEST(RegisterTool, ListsARepeatedNameTwiceAndRunsTheLastHandler) {
  ToolRegistry registry;
  registerTool(registry, {"a", "first", Json::object{}}, answering("first"));
  registerTool(registry, {"a", "second", Json::object{}}, answering("second"));
  EXPECT_EQ(listTools(registry).dump(), R"([{"description": "first", "inputSchema": {}, "name": "a"}, )"
                                        R"({"description": "second", "inputSchema": {}, "name": "a"}])");
  std::string error;
  EXPECT_EQ(callTool(registry, "a", Json(), error), Json("second"));
}

TEST(ListTools, KeepsTheOrderOfRegistrationAndReportsSchemasUnchanged) {
  ToolRegistry registry;
  registerTool(registry, {"b", "", Json(5)}, answering(""));
  registerTool(registry, {"a", "", Json::object{{"x", Json()}}}, answering(""));
  EXPECT_EQ(listTools(registry).dump(), R"([{"description": "", "inputSchema": 5, "name": "b"}, )"
                                        R"({"description": "", "inputSchema": {"x": null}, "name": "a"}])");
  EXPECT_EQ(listTools(ToolRegistry{}).dump(), "[]");
}

TEST(CallTool, HandsOverArgumentsAndError) {
  ToolRegistry registry;
  registerTool(registry, {"a", "", Json()}, [](const Json& arguments, std::string& error) {
    error += "written";
    return arguments["x"];
  });
  std::string error = "before ";
  EXPECT_EQ(callTool(registry, "a", Json::object{{"x", 7}}, error), Json(7));
  EXPECT_EQ(error, "before written");
}

TEST(CallTool, NamesAnUnknownTool) {
  std::string error;
  EXPECT_EQ(callTool(ToolRegistry{}, "fly", Json::object{}, error), Json());
  EXPECT_EQ(error, "Unknown tool: fly");
}

TEST(CallTool, OfAnEntryWithoutHandlerThrowsTheLibrarysError) {
  ToolRegistry registry;
  registerTool(registry, {"a", "", Json()}, ToolHandler());
  std::string error;
  EXPECT_THROW(callTool(registry, "a", Json(), error), std::bad_function_call);
}

}  // namespace
