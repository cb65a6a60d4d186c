// Texts that the host sends, and what of them reaches the client, to the byte.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"

#include <gtest/gtest.h>

namespace {

struct TextRow {
  const char* label;
  std::string sent;     ///< as JSON has it: between quotes for a text, else the whole value
  std::string printed;  ///< in the client's line
};

class HostText : public ServerWithHost {
 protected:
  /// A text that begins neither with a brace nor with a bracket arrives as it is.
  const std::vector<TextRow> plainTexts_ = {
      {"blanks around", R"(  padded\t )", R"(  padded\t )"},
      {"only a blank", " ", " "},
      {"zero characters", R"(\u0000a\u0000)", R"(\u0000a\u0000)"},
      {"only a zero character", R"(\u0000)", R"(\u0000)"},
      {"line ends", R"(a\nb\r\nc\u000bd)", R"(a\nb\r\nc\u000bd)"},
      {"line separators", "\xE2\x80\xA8\\u2029", R"(\u2028\u2029)"},
      {"byte order marks", R"(\ufeffa\ufeff)",
       "\xEF\xBB\xBF"
       "a\xEF\xBB\xBF"},
      {"characters of two, three and four bytes", "\xC3\xA9\\u20ac\xF0\x9F\x98\x80\\ud83d\\ude00",
       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF0\x9F\x98\x80"},
      {"delete character and solidus", R"(\u007f\/)", "\x7F/"},
      {"quotation marks and backslashes", R"(\"C:\\dir\")", R"(\"C:\\dir\")"},
      // Qt writes a question mark for half of a pair.
      {"first half of a pair", R"(a\ud800b)", "a?b"},
      {"second half of a pair", R"(a\udc00b)", "a?b"},
      {"halves in the wrong order", R"(\ude00\ud83d)", "??"},
      {"a number", "0x10", "0x10"},
      {"a literal", "null", "null"},
      {"a blank before a brace", R"( {\"b\":1,\"a\":2})", R"( {\"b\":1,\"a\":2})"},
      {"a closing brace", "}", "}"},
      {"70,000 characters", std::string(70000, 'x'), std::string(70000, 'x')},
  };
};

TEST_F(HostText, AsAResultArrivesAsItIs) {
  for (const TextRow& row : plainTexts_) {
    EXPECT_EQ(replyFor(1, success(row.sent)), textReply(1, row.printed)) << row.label;
  }
}

TEST_F(HostText, AsAnErrorArrivesAsItIs) {
  for (const TextRow& row : plainTexts_) {
    EXPECT_EQ(replyFor(1, failure(row.sent)), toolErrorReply(1, row.printed)) << row.label;
  }
  // Unlike a result, an error is never read as JSON.
  EXPECT_EQ(replyFor(2, failure("[x")), toolErrorReply(2, "[x"));
  EXPECT_EQ(replyFor(2, failure(R"({\"b\":1,\"a\":2})")), toolErrorReply(2, R"({\"b\":1,\"a\":2})"));
}

TEST_F(HostText, OfMegabytesArrivesWhole) {
  const std::string text(3'000'000, 'x');
  EXPECT_TRUE(replyFor(1, success(text)) == textReply(1, text));
  EXPECT_TRUE(replyFor(2, failure(text)) == toolErrorReply(2, text));
  EXPECT_TRUE(replyFor(3, successWith("[\"" + text + "\"]")) == textReply(3, R"([\")" + text + R"(\"])"));
}

TEST_F(HostText, OfEachToolsFailureIsItsError) {
  int id = 0;
  for (const char* const tool :
       {"list_documents", "comment", "search_strings", "set_comment", "set_addresses_names"}) {
    call(++id, tool);
    host_.reply(failure("No."));
    EXPECT_EQ(server_.readLine(), toolErrorReply(id, "No.")) << tool;
    call(++id, tool);
    host_.reply(success("yes"));
    EXPECT_EQ(server_.readLine(), textReply(id, "yes")) << tool;
    call(++id, tool);
    host_.reply(R"({"success":false})");
    EXPECT_EQ(server_.readLine(), textReply(id, "")) << tool;
  }
}

TEST_F(HostText, ThatBeginsWithABraceOrBracketIsReadAsJson) {
  const TextRow rows[] = {
      {"an object", R"({\"b\":1,\"a\":[true,null]})", R"({\"a\": [true, null], \"b\": 1})"},
      {"repeated members", R"({\"a\":1,\"a\":2})", R"({\"a\": 2})"},
      {"blanks and line feeds around its parts", R"([ 1 ,\n2 ]\n)", "[1, 2]"},
      {"numbers of 64 bits", "[18446744073709551615,9223372036854775808,-9223372036854775808]",
       "[18446744073709551615, 9223372036854775808, -9.2233720368547758e+18]"},
      {"a zero character in a text", R"([\"a\\u0000b\"])", R"([\"a\\u0000b\"])"},
      {"a brace alone", "{", "null"},
      {"a comment of the user's", "[todo] look here", "null"},
      {"text behind it", "[1] x", "null"},
      {"a zero character behind it", R"([1]\u0000)", "null"},
      {"a zero character in it", R"([\u00001])", "null"},
      {"a line separator behind it", R"([1]\u2028)", "null"},
      {"half of a pair in a text", R"([\"\\ud800\"])", "[\\\"\xED\xA0\x80\\\"]"},
  };
  for (const TextRow& row : rows) {
    EXPECT_EQ(replyFor(1, success(row.sent)), textReply(1, row.printed)) << row.label;
  }
}

class HostValue : public ServerWithHost {};

TEST_F(HostValue, ThatIsAnArrayOrObjectArrivesAsItsJsonText) {
  const TextRow rows[] = {
      {"members in the order of their keys' bytes", R"({"b":1,"B":2,"":3,"a":{}})",
       R"({\"\": 3, \"B\": 2, \"a\": {}, \"b\": 1})"},
      {"repeated members", R"({"a":1,"b":2,"a":3})", R"({\"a\": 3, \"b\": 2})"},
      {"texts", R"([" a\u0000\n","\u2028\ufeff","\ud800"])",
       "[\\\" a\\\\u0000\\\\n\\\", \\\"\\\\u2028\xEF\xBB\xBF\\\", \\\"\xED\xA0\x80\\\"]"},
      {"numbers up to 2^63", "[9007199254740993,9223372036854775807,-9223372036854775808]",
       "[9007199254740993, 9223372036854775807, -9.2233720368547758e+18]"},
      // Qt has made a double of these, which has 17 digits; the server reads at most 2^64 - 1.
      {"numbers from 2^63 on", "[9223372036854775808,18446744073709551615,-9223372036854775809]",
       "[9223372036854776000, 18446744073709551615, -9.2233720368547758e+18]"},
      {"numbers of 32 bits", R"({"a":4294967295,"b":4294967296,"c":-2147483648,"d":2147483648})",
       R"({\"a\": 4294967295, \"b\": 4294967296, \"c\": -2147483648, \"d\": 2147483648})"},
      {"fractions", "[0.5,1e2,-1.5e-7]", "[0.5, 100, -1.4999999999999999e-07]"},
      {"literals", "[true,false,null]", "[true, false, null]"},
      {"nothing", "[]", "[]"},
  };
  for (const TextRow& row : rows) {
    EXPECT_EQ(replyFor(1, successWith(row.sent)), textReply(1, row.printed)) << row.label;
  }
}

TEST_F(HostValue, ThatIsNestedMoreThan201TimesIsNull) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_EQ(replyFor(1, successWith(nested(201))), textReply(1, nested(201)));
  EXPECT_EQ(replyFor(2, successWith(nested(202))), textReply(2, "null"));
}

TEST_F(HostValue, ThatIsRepeatedInTheEnvelopeIsTheLast) {
  EXPECT_EQ(replyFor(1, R"({"success":true,"result":"a","result":"b"})"), textReply(1, "b"));
  EXPECT_EQ(replyFor(1, R"({"success":true,"success":false,"error":"a","error":"b"})"),
            toolErrorReply(1, "b"));
}

}  // namespace
