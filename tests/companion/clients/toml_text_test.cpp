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

TEST(WithTomlMember, KeepsTheCommentsOfAReplacedValueOnLinesAboveIt) {
  EXPECT_EQ(withTomlMember("[a]\n  b = [ # one\n '#', # two\n] # three\n", {"a", "b"}, "x"),
            "[a]\n  # one\n  # two\n  b = \"x\" # three\n");
  EXPECT_EQ(withTomlMember("\xEF\xBB\xBF"
                           "a = {b = [ # one\r\n], c = [ # two\r\n]}\r\n",
                           {"a", "b"}, "x"),
            "\xEF\xBB\xBF# one\r\na = {b = \"x\", c = [ # two\r\n]}\r\n");
}

TEST(WithTomlMember, GoesOnInTheStyleThatItFinds) {
  struct Row {
    const char* before;
    const char* after;  ///< with env.T set to "t"
  };
  const Row rows[] = {
      {"[m.o]", "[m.o]\nenv = {T = \"t\"}\n"},
      {"[m.o]\nenv.A = 1", "[m.o]\nenv.A = 1\nenv.T = \"t\"\n"},
      {"[m.o.env]\n", "[m.o.env]\nT = \"t\"\n"},
      {"[m.o.env.sub]\n", "[m.o.env.sub]\n\n[m.o.env]\nT = \"t\"\n"},
      {"m.o.env.A = 1\nb = 2\n", "m.o.env.A = 1\nm.o.env.T = \"t\"\nb = 2\n"},
      {"[m]\n  o.A = 1 # c\n", "[m]\n  o.A = 1 # c\n  o.env = {T = \"t\"}\n"},
      {"[m]\no = {}\n", "[m]\no = {env = {T = \"t\"}}\n"},
      {"m = { o = { env.A = 1 } }", "m = { o = { env.A = 1, env.T = \"t\" } }"},
      {"m = {o = {env = {A = '}'}}}", "m = {o = {env = {A = '}', T = \"t\"}}}"},
      {"[m.o]\nenv = {T = 'old'}\n", "[m.o]\nenv = {T = \"t\"}\n"},
      {"['m' . \"o\"]\n", "['m' . \"o\"]\nenv = {T = \"t\"}\n"},
  };
  for (const Row& row : rows) EXPECT_EQ(withTomlMember(row.before, {"m", "o", "env", "T"}, "t"), row.after);
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

TEST(WithoutTomlMember, TakesOutAnEntryInAnyStyle) {
  const std::pair<const char*, const char*> rows[] = {
      {"[mcp_servers.orvane]\na = 1\n# mine\n\n[x]\n\n[mcp_servers.orvane.env]\nb = 2\n", "# mine\n\n[x]\n"},
      {"mcp_servers.orvane.a = 1\nb = 2\nmcp_servers.orvane.c = 3", "b = 2\n"},
      {"mcp_servers = { orvane = {}, b = 1 }\n", "mcp_servers = { b = 1 }\n"},
      {"mcp_servers = { b = 1, orvane.a = {}, orvane.c = 1 }\n", "mcp_servers = { b = 1 }\n"},
      {"\xEF\xBB\xBF[mcp_servers.orvane]\n", "\xEF\xBB\xBF"},
      {"[[mcp_servers.orvane]]\na = 1\n[[mcp_servers.orvane]]\n", ""},
  };
  for (const auto& [before, after] : rows) EXPECT_EQ(withoutTomlMember(before, kPath), after);
}

TEST(WithoutTomlMember, TakesOutAnEntryOnOneLine) {
  EXPECT_EQ(withoutTomlMember("[mcp_servers]\na = {}\norvane = {command = 'x'}\nz = {}\n", kPath),
            "[mcp_servers]\na = {}\nz = {}\n");
}

}  // namespace
