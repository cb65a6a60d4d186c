#include "companion/clients/toml_text.h"

#include <gtest/gtest.h>

namespace {

const OrderedJson kEntry = {{"command", "/p"}, {"args", {"serve"}}};
const KeyPath kPath = {"mcp_servers", "orvane"};

TEST(ParseToml, GivesValuesOfEveryKind) {
  std::string error;
  const auto value =
      parseToml("s = 'x'\ni = 7\nf = 1.5\nb = true\nl = [1, 'y']\nd = 2026-01-02\n[t.u]\nk = {}\n", error);
  ASSERT_TRUE(value) << error;
  EXPECT_EQ(nlohmann::json(*value), (nlohmann::json{{"s", "x"},
                                                    {"i", 7},
                                                    {"f", 1.5},
                                                    {"b", true},
                                                    {"l", {1, "y"}},
                                                    {"d", "2026-01-02"},
                                                    {"t", {{"u", {{"k", OrderedJson::object()}}}}}}));
}

TEST(ParseToml, TellsThePlaceOfAMistake) {
  std::string error;
  EXPECT_EQ(parseToml("a = 1\nb = oops\n", error), std::nullopt);
  EXPECT_EQ(error.substr(0, 18), "line 2, column 5: ");
}

TEST(WithTomlMember, PutsANewTableAtTheEnd) {
  const std::string table = "[mcp_servers.orvane]\ncommand = \"/p\"\nargs = [\"serve\"]\n";
  EXPECT_EQ(withTomlMember("", kPath, kEntry), table);
  EXPECT_EQ(withTomlMember("a = 1", kPath, kEntry), "a = 1\n\n" + table);
  EXPECT_EQ(withTomlMember("[mcp_servers.x]\na = 1 # c\n", kPath, kEntry),
            "[mcp_servers.x]\na = 1 # c\n\n" + table);
}

TEST(WithTomlMember, KeepsTheLineEndsOfTheFile) {
  EXPECT_EQ(withTomlMember("a = 1\r\n", {"t"}, {{"k", true}}), "a = 1\r\n\r\n[t]\r\nk = true\r\n");
}

TEST(WithTomlMember, ReplacesAValueWhereItStands) {
  const std::string text =
      "[mcp_servers.orvane] # \u00fc\n\"command\" = '\u00e9' # stays\nargs = [\n  'a',\n]\nx = 1\n";
  EXPECT_EQ(withTomlMember(text, {"mcp_servers", "orvane", "command"}, "/p"),
            "[mcp_servers.orvane] # \u00fc\n\"command\" = \"/p\" # stays\nargs = [\n  'a',\n]\nx = 1\n");
  EXPECT_EQ(withTomlMember(text, {"mcp_servers", "orvane", "args"}, {"b"}),
            "[mcp_servers.orvane] # \u00fc\n\"command\" = '\u00e9' # stays\nargs = [\"b\"]\nx = 1\n");
}

TEST(WithTomlMember, AddsAMissingKeyBelowTheHeader) {
  EXPECT_EQ(withTomlMember("[a]\nb = 1\n[c]\nd = 2\n", {"a", "x"}, "y"),
            "[a]\nx = \"y\"\nb = 1\n[c]\nd = 2\n");
}

TEST(WithoutTomlMember, TakesOutWhatWithTomlMemberPutIn) {
  for (const std::string before :
       {"", "a = 1\n", "# only a comment\n", "a = 1\r\n", "[mcp_servers.x]\na = 1\n\n"})
    EXPECT_EQ(withoutTomlMember(withTomlMember(before, kPath, kEntry), kPath), before);
}

TEST(WithoutTomlMember, TakesTablesBelowAlongAndLeavesTheNextOne) {
  EXPECT_EQ(withoutTomlMember("[mcp_servers.orvane]\ncommand = 'x'\n\n[mcp_servers.orvane.env]\nA = 'b'\n"
                              "# of the next\n[next]\nc = 1\n",
                              kPath),
            "# of the next\n[next]\nc = 1\n");
}

TEST(WithoutTomlMember, TakesOutAnEntryOnOneLine) {
  EXPECT_EQ(withoutTomlMember("[mcp_servers]\na = {}\norvane = {command = 'x'}\nz = {}\n", kPath),
            "[mcp_servers]\na = {}\nz = {}\n");
}

}  // namespace
