// From the host's text to a tool's result, and handlers without a host. What handlers send is seen in
// tests/app.

#include "tools/tool_handler.h"

#include "support/temporary_folder.h"
#include "tools/catalogue.h"

#include <QCoreApplication>
#include <QString>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

using json11::Json;

namespace {

struct TextRow {
  const char* label;
  QString text;
  Json result;
};

void expectResults(const std::vector<TextRow>& rows) {
  for (const TextRow& row : rows) {
    const Json result = resultFromText(row.text);
    EXPECT_EQ(result.type(), row.result.type()) << row.label;
    EXPECT_EQ(result.dump(), row.result.dump()) << row.label;
  }
}

/// An empty array inside another, `depth` of them.
Json nested(int depth) {
  Json array = Json::array{};
  for (int i = 1; i < depth; ++i) array = Json::array{array};
  return array;
}

TEST(ResultFromText, TellsNullFromEmpty) {
  expectResults({
      {"null text", QString(), Json()},
      {"empty text", QString(""), Json("")},
  });
}

TEST(ResultFromText, ParsesWhatBeginsWithABraceOrBracket) {
  expectResults({
      {"array", "[1,2]", Json::array{1, 2}},
      {"empty array", "[]", Json::array{}},
      {"object", R"({"b":1,"a":"x"})", Json::object{{"a", "x"}, {"b", 1}}},
      {"empty object", "{}", Json::object{}},
      {"white space behind", "[1]\n ", Json::array{1}},
      {"64-bit address", "[18446744073709551615]", Json::array{18446744073709551615UL}},
      {"UTF-8 in strings", QString::fromUtf8("[\"\xC3\xA9\"]"), Json::array{"\xC3\xA9"}},
      {"deepest", QString(201, '[') + QString(201, ']'), nested(201)},
  });
}

TEST(ResultFromText, GivesNullForWhatBeginsSoAndDoesNotParse) {
  expectResults({
      {"comment that begins with a bracket", "[todo] look here", Json()},
      {"brace alone", "{", Json()},
      {"bracket alone", "[", Json()},
      {"text behind", "[1] x", Json()},
      {"JSON with comments", "[1/*one*/]", Json()},
      {"too deep", QString(202, '[') + QString(202, ']'), Json()},
      {"assembly", "{a, b}", Json()},
      {"zero character inside", QString::fromUtf8("[\0]", 3), Json()},
  });
}

TEST(ResultFromText, TakesAnythingElseAsAString) {
  expectResults({
      {"name", "main", Json("main")},
      {"number", "42", Json("42")},
      {"literal", "null", Json("null")},
      {"quoted", "\"x\"", Json("\"x\"")},
      {"blank before a brace", " {}", Json(" {}")},
      {"line feed before a bracket", "\n[1]", Json("\n[1]")},
      {"closing brace", "}", Json("}")},
      {"closing bracket", "]", Json("]")},
      {"parenthesis", "(1)", Json("(1)")},
      {"code", "int f() {\n  return 1;\n}", Json("int f() {\n  return 1;\n}")},
      {"byte order mark", QString(QChar(0xFEFF)) + "[1]", Json("\xEF\xBB\xBF[1]")},
  });
}

TEST(ResultFromText, LooksAtTheWholeFirstUnit) {
  // Units whose low byte is that of a bracket or a brace.
  for (const char16_t unit : {char16_t{0x015B}, char16_t{0x017B}, char16_t{0x5B5B}, char16_t{0x7B7B}}) {
    const QString text = QString(QChar(unit)) + "]";
    EXPECT_EQ(resultFromText(text).stringValue(), text.toStdString());
  }
  // Units next to them.
  for (const char unit : {'Z', '\\', 'z', '|', ';'}) {
    EXPECT_EQ(resultFromText(QString(QLatin1Char(unit))).stringValue(), std::string(1, unit));
  }
}

TEST(ResultFromText, ConvertsToUtf8) {
  EXPECT_EQ(resultFromText(QString(QChar(0x2028)) + QChar(0xE9)).stringValue(), "\xE2\x80\xA8\xC3\xA9");
  EXPECT_EQ(resultFromText(QString::fromUtf8("\xF0\x9F\x98\x80")).stringValue(), "\xF0\x9F\x98\x80");
  EXPECT_EQ(resultFromText(QString::fromUtf8("a\0b", 3)).stringValue(), std::string("a\0b", 3));
  EXPECT_EQ(resultFromText(QString(QChar(0))).stringValue(), std::string(1, '\0'));
}

TEST(MakeHandler, GivesAnEmptyStringAndNoErrorWithoutAHost) {
  const TemporaryFolder folder;
  ::setenv("TMPDIR", folder.path().c_str(), 1);
  int argumentCount = 1;
  char name[] = "tools_tests";
  char* arguments[] = {name, nullptr};
  const QCoreApplication application(argumentCount, arguments);
  IPCClient host;
  const Json argumentKinds[] = {Json::object{},
                                Json(),
                                Json("x"),
                                Json::array{1},
                                Json::object{{"address", 5}, {"names", Json::array{}}, {"pattern", nullptr}},
                                Json::object{{"names", Json::object{{"0x10", 1}, {"0x20", "name"}}}}};
  for (const CatalogueEntry& entry : catalogue()) {
    const ToolHandler handler = makeHandler(entry, &host);
    for (const Json& kind : argumentKinds) {
      std::string error = "to be replaced";
      const Json result = handler(kind, error);
      EXPECT_EQ(result.dump(), "\"\"") << entry.name << ' ' << kind.dump();
      EXPECT_EQ(error, "") << entry.name << ' ' << kind.dump();
    }
  }
}

}  // namespace
