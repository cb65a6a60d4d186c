// The registry of tools: what is listed and who is called.

#include "mcp/tool_registry.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

using json11::Json;

namespace {

Tool toolNamed(const std::string& name) {
  return {.name = name, .description = "about " + name, .inputSchema = Json::object{{"type", "object"}}};
}

ToolHandler handlerReturning(const Json& value) {
  return [value](const Json&, std::string&) { return value; };
}

TEST(RegisterTool, KeepsTheOrderOfRegistration) {
  ToolRegistry registry;
  for (const char* const name : {"zebra", "ant", "mole"}) {
    registerTool(registry, toolNamed(name), handlerReturning(nullptr));
  }
  ASSERT_EQ(registry.tools.size(), 3U);
  EXPECT_EQ(registry.tools[0].name, "zebra");
  EXPECT_EQ(registry.tools[1].name, "ant");
  EXPECT_EQ(registry.tools[2].name, "mole");
}

TEST(RegisterTool, OrdersHandlersByTheBytesOfTheirNames) {
  ToolRegistry registry;
  for (const char* const name : {"b", "\xC3\xA9", "B", "ab", "a"}) {
    registerTool(registry, toolNamed(name), handlerReturning(nullptr));
  }
  std::string names;
  for (const auto& [name, handler] : registry.handlers) names += name + " ";
  EXPECT_EQ(names, "B a ab b \xC3\xA9 ");
}

TEST(RegisterTool, CopiesTheRecord) {
  ToolRegistry registry;
  Tool tool = toolNamed("a");
  registerTool(registry, tool, handlerReturning(nullptr));
  tool.name = "changed";
  EXPECT_EQ(registry.tools[0].name, "a");
  EXPECT_EQ(registry.tools[0].description, "about a");
  EXPECT_EQ(registry.tools[0].inputSchema.dump(), "{\"type\": \"object\"}");
}

TEST(RegisterTool, TakesOverAMovedHandler) {
  ToolRegistry registry;
  ToolHandler handler = handlerReturning(5);
  registerTool(registry, toolNamed("a"), std::move(handler));
  std::string error;
  EXPECT_EQ(callTool(registry, "a", Json(), error).dump(), "5");
}

TEST(RegisterTool, ListsARepeatedNameTwiceAndRunsItsLastHandler) {
  ToolRegistry registry;
  Tool second = toolNamed("a");
  second.description = "another";
  registerTool(registry, toolNamed("a"), handlerReturning(1));
  registerTool(registry, second, handlerReturning(2));
  EXPECT_EQ(listTools(registry).dump(),
            R"([{"description": "about a", "inputSchema": {"type": "object"}, "name": "a"}, )"
            R"({"description": "another", "inputSchema": {"type": "object"}, "name": "a"}])");
  std::string error;
  EXPECT_EQ(callTool(registry, "a", Json(), error), Json(2));
  EXPECT_EQ(registry.handlers.size(), 1U);
}

TEST(RegisterTool, DestroysTheHandlerThatWasThereBefore) {
  ToolRegistry registry;
  auto owned = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = owned;
  registerTool(registry, toolNamed("a"), [owned](const Json&, std::string&) { return Json(*owned); });
  owned.reset();
  EXPECT_FALSE(watched.expired());
  registerTool(registry, toolNamed("a"), handlerReturning(2));
  EXPECT_TRUE(watched.expired());
}

TEST(RegisterTool, ValidatesNothing) {
  ToolRegistry registry;
  registerTool(registry, {.name = "", .description = "", .inputSchema = Json(5)}, handlerReturning("empty"));
  EXPECT_EQ(listTools(registry).dump(), R"([{"description": "", "inputSchema": 5, "name": ""}])");
  std::string error;
  EXPECT_EQ(callTool(registry, "", Json(), error), Json("empty"));
  EXPECT_EQ(error, "");
}

TEST(ListTools, OfAnEmptyRegistryIsAnEmptyArray) {
  EXPECT_EQ(listTools(ToolRegistry()).dump(), "[]");
}

TEST(ListTools, ReportsTheSchemaUnchanged) {
  ToolRegistry registry;
  const Json schema =
      Json::object{{"type", "object"}, {"properties", Json::object{{"x", 18446744073709551615UL}}}};
  registerTool(registry, {.name = "n", .description = "\"d\"", .inputSchema = schema}, handlerReturning(1));
  EXPECT_EQ(listTools(registry).dump(),
            R"([{"description": "\"d\"", "inputSchema": )"
            R"({"properties": {"x": 18446744073709551615}, "type": "object"}, "name": "n"}])");
}

TEST(CallTool, HandsOverTheArgumentsAndTheErrorText) {
  ToolRegistry registry;
  registerTool(registry, toolNamed("a"), [](const Json& arguments, std::string& error) {
    error += "told";
    return arguments["x"];
  });
  std::string error = "before ";
  EXPECT_EQ(callTool(registry, "a", Json::object{{"x", "y"}}, error), Json("y"));
  EXPECT_EQ(error, "before told");
}

TEST(CallTool, LeavesTheErrorTextToTheHandler) {
  ToolRegistry registry;
  registerTool(registry, toolNamed("a"), handlerReturning(true));
  std::string error = "before";
  EXPECT_EQ(callTool(registry, "a", Json(), error), Json(true));
  EXPECT_EQ(error, "before");
}

TEST(CallTool, OfAnUnknownNameSetsTheErrorTextAndGivesNull) {
  ToolRegistry registry;
  registerTool(registry, toolNamed("known"), handlerReturning(1));
  const std::string names[] = {"unknown", "Known", "know", "known ", "", std::string("known\0", 6)};
  for (const std::string& name : names) {
    std::string error = "before";
    EXPECT_EQ(callTool(registry, name, Json(), error).type(), Json::Type::Null);
    EXPECT_EQ(error, "Unknown tool: " + name);
  }
  EXPECT_EQ(registry.handlers.size(), 1U);
}

TEST(CallTool, OfAnEmptyHandlerThrows) {
  ToolRegistry registry;
  registerTool(registry, toolNamed("a"), ToolHandler());
  std::string error;
  EXPECT_THROW(callTool(registry, "a", Json(), error), std::bad_function_call);
}

TEST(CallTool, LetsTheHandlersExceptionThrough) {
  ToolRegistry registry;
  registerTool(registry, toolNamed("a"), [](const Json&, std::string&) -> Json { throw 42; });
  std::string error;
  EXPECT_THROW(callTool(registry, "a", Json(), error), int);
}

TEST(ToolRegistry, DestroysItsHandlersBeforeItsRecords) {
  // A handler that asks, when it goes, whether the record is still there.
  struct Watch {
    const ToolRegistry* registry;
    std::size_t* seen;
    ~Watch() { *seen = registry->tools.size(); }
  };
  std::size_t seen = 0;
  {
    ToolRegistry registry;
    auto watch = std::make_shared<Watch>(Watch{&registry, &seen});
    seen = 0;
    registerTool(registry, toolNamed("a"), [watch](const Json&, std::string&) { return Json(); });
    watch.reset();
  }
  EXPECT_EQ(seen, 1U);
}

}  // namespace
