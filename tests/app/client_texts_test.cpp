// Texts that the client sends as arguments, and what of them reaches the host, to the byte.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

struct TextRow {
  const char* label;
  std::string sent;      ///< between the quotes of the client's line
  std::string received;  ///< between the quotes of the request
};

std::vector<TextRow> texts() {
  const std::string bad = kReplacement;
  const std::string longText(70000, 'x');
  return {
      {"blanks around", R"(  padded\t )", R"(  padded\t )"},
      {"only blanks", "  ", "  "},
      {"upper case", "0xABCDEF Main", "0xABCDEF Main"},
      {"zero characters", R"(\u0000a\u0000)", R"(\u0000a\u0000)"},
      {"only a zero character", R"(\u0000)", R"(\u0000)"},
      {"line ends", R"(a\nb\r\nc)", R"(a\nb\r\nc)"},
      {"line separators",
       R"(\u2028)"
       "\xE2\x80\xA9",
       "\xE2\x80\xA8\xE2\x80\xA9"},
      {"70,000 characters", longText, longText},
      {"characters of two, three and four bytes",
       R"(\u00e9)"
       "\xE2\x82\xAC\xF0\x9F\x98\x80"
       R"(\ud83d\ude00)",
       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
      {"quotation marks and backslashes", R"(\"C:\\dir\/\")", R"(\"C:\\dir/\")"},
      {"what begins like JSON", R"([\"a\"])", R"([\"a\"])"},
      // Qt takes a byte order mark at the beginning for a sign of the encoding.
      {"a byte order mark at the beginning", R"(\ufeffa)", "a"},
      {"two of them",
       "\xEF\xBB\xBF\xEF\xBB\xBF"
       "a",
       "\xEF\xBB\xBF"
       "a"},
      {"one elsewhere", R"(a\ufeff)", "a\xEF\xBB\xBF"},
      {"one alone", R"(\ufeff)", ""},
      // Bytes that are no UTF-8.
      {"a byte that begins nothing",
       "a\xFF"
       "b",
       "a" + bad + "b"},
      {"a byte that continues nothing",
       "a\x80"
       "b",
       "a" + bad + "b"},
      {"a character that is cut off", "\xE2\x82", bad + bad},
      {"a character that is cut off by another",
       "\xC3"
       "a",
       bad + "a"},
      {"a character in too many bytes", "\xC0\xAF", bad + bad},
      {"half of a pair in three bytes", "\xED\xA0\x80", bad + bad + bad},
      {"half of a pair, escaped", R"(a\ud800b)", "a" + bad + bad + bad + "b"},
      {"the other half, escaped", R"(\udc00)", bad + bad + bad},
      {"beyond the last character", "\xF4\x90\x80\x80", bad + bad + bad + bad},
  };
}

/// A text argument of a tool: what the client sends with a text in it, and what the host is then asked.
struct TextArgument {
  std::string tool;
  std::string key;
  std::string selector;
  std::string before;  ///< of the request's arguments, in front of this one
  std::string after;   ///< behind it

  std::string sent(const std::string& value) const { return "{\"" + key + "\": " + value + "}"; }
  std::string request(const std::string& text) const {
    return R"({"args":[)" + before + '"' + text + '"' + after + R"(],"request":")" + selector + "\"}";
  }
};

/// Those of all tools, as tests/tools/selectors.tsv has them.
std::vector<TextArgument> textArguments() {
  std::ifstream file(ORVANE_SOURCE_DIR "/tests/tools/selectors.tsv");
  std::vector<TextArgument> found;
  std::string tool;
  std::string selector;
  std::string types;
  std::string keys;
  while (std::getline(std::getline(std::getline(std::getline(file, tool, '\t'), selector, '\t'), types, '\t'),
                      keys)) {
    const std::string second = keys.substr(keys.find(',') + 1);
    const std::string first = keys.substr(0, keys.find(','));
    if (types == "text") found.push_back({tool, first, selector, "", ""});
    if (types == "text,boolean") found.push_back({tool, first, selector, "", ",false"});
    if (types == "text,text") {
      found.push_back({tool, first, selector, "", R"(,"")"});
      found.push_back({tool, second, selector, R"("",)", ""});
    }
  }
  return found;
}

class ClientText : public ServerWithHost {};

TEST_F(ClientText, ReachesTheHostAsItIsFromEveryToolThatTakesText) {
  const std::vector<TextArgument> arguments = textArguments();
  ASSERT_EQ(arguments.size(), 26U);
  int id = 0;
  for (const TextArgument& argument : arguments) {
    for (const TextRow& text : texts()) {
      SCOPED_TRACE(argument.tool + " " + argument.key + ": " + text.label);
      ASSERT_EQ(call(++id, argument.tool, argument.sent("\"" + text.sent + "\"")),
                argument.request(text.received));
      host_.reply(success("done"));
      ASSERT_EQ(server_.readLine(), textReply(id, "done"));
    }
  }
}

TEST_F(ClientText, OfMegabytesReachesTheHostWhole) {
  const std::string text(9'000'000, 'x');
  const std::string comment = call(1, "set_comment", R"({"comment": ")" + text + "\"}");
  EXPECT_TRUE(comment == R"({"args":[")" + text + R"(",""],"request":"setComment:atAddress:withReply:"})");
  host_.reply(success("done"));
  EXPECT_EQ(server_.readLine(), textReply(1, "done"));
  const std::string names = call(2, "set_addresses_names", R"({"names": {"0x1": ")" + text + "\"}}");
  EXPECT_TRUE(names == R"({"args":[{"0x1":")" + text + R"("}],"request":"setNamesOfAddresses:withReply:"})");
  host_.reply(success("done"));
  EXPECT_EQ(server_.readLine(), textReply(2, "done"));
}

TEST_F(ClientText, IsEmptyForEveryOtherKindOfValue) {
  int id = 0;
  for (const TextArgument& argument : textArguments()) {
    for (const char* const value : {"5", "-1.5", "true", "false", "null", R"(["a"])", R"({"a": "b"})"}) {
      SCOPED_TRACE(argument.tool + " " + argument.key + ": " + value);
      ASSERT_EQ(call(++id, argument.tool, argument.sent(value)), argument.request(""));
      host_.reply(success("done"));
      ASSERT_EQ(server_.readLine(), textReply(id, "done"));
    }
  }
}

TEST_F(ClientText, IsTrueOnlyForTrueWhereABooleanIsExpected) {
  const auto requestFor = [this](const std::string& value) {
    const std::string request = call(1, "search_strings", R"({"case_sensitive": )" + value + "}");
    host_.reply(success("done"));
    EXPECT_EQ(server_.readLine(), textReply(1, "done"));
    return request;
  };
  const std::string selector = R"("request":"searchStringUsingPattern:caseSensitive:withReply:"})";
  EXPECT_EQ(requestFor("true"), R"({"args":["",true],)" + selector);
  for (const char* const value : {"false", "null", "0", "1", R"("true")", "[true]", R"({"a": true})"}) {
    EXPECT_EQ(requestFor(value), R"({"args":["",false],)" + selector) << value;
  }
}

class ClientMap : public ServerWithHost {
 protected:
  std::string requestFor(const std::string& names) {
    const std::string request = call(1, "set_addresses_names", R"({"names": )" + names + "}");
    host_.reply(success("done"));
    EXPECT_EQ(server_.readLine(), textReply(1, "done"));
    return request;
  }
  static std::string request(const std::string& map) {
    return R"({"args":[)" + map + R"(],"request":"setNamesOfAddresses:withReply:"})";
  }
};

TEST_F(ClientMap, HasItsKeysAndValuesAsTheyAre) {
  for (const TextRow& text : texts()) {
    EXPECT_EQ(requestFor("{\"" + text.sent + R"(": "value"})"),
              request("{\"" + text.received + R"(":"value"})"))
        << text.label;
    EXPECT_EQ(requestFor(R"({"key": ")" + text.sent + "\"}"), request(R"({"key":")" + text.received + "\"}"))
        << text.label;
  }
}

TEST_F(ClientMap, HasEmptyTextsForEveryOtherKindOfValue) {
  EXPECT_EQ(requestFor(R"({"a": 1, "b": true, "c": null, "d": ["x"], "e": {"f": "x"}, "g": -1.5})"),
            request(R"({"a":"","b":"","c":"","d":"","e":"","g":""})"));
}

TEST_F(ClientMap, IsEmptyForWhatIsNoObject) {
  for (const char* const value : {"null", "5", "true", R"("a")", R"([["a", "b"]])", "{}"}) {
    EXPECT_EQ(requestFor(value), request("{}")) << value;
  }
}

TEST_F(ClientMap, HasAllOfAThousandMembers) {
  std::string sent;
  std::string received;
  for (int number = 1000; number < 2000; ++number) {
    const std::string digits = std::to_string(number);
    sent += (sent.empty() ? "{\"k" : ", \"k") + digits + "\": \"v" + digits + '"';
    received += (received.empty() ? "{\"k" : ",\"k") + digits + "\":\"v" + digits + '"';
  }
  EXPECT_EQ(requestFor(sent + "}"), request(received + "}"));
}

// Keys that differ in the client's line only in what Qt drops become one; the later one in the order of their
// bytes wins.
TEST_F(ClientMap, HasOneMemberForKeysThatBecomeTheSame) {
  EXPECT_EQ(requestFor(R"({"\ufeffa": "marked", "a": "plain"})"), request(R"({"a":"marked"})"));
}

}  // namespace
