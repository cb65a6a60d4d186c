// The development host against independent tools, on a program that the test compiles: data/program.c.

#include "devhost/devhost_process.h"
#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"
#include "support/server_process.h"

#include <QRegularExpression>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Address = std::uint64_t;

QString inQuotes(const QString& path) {
  return u'\'' + path + u'\'';
}

Address number(const QString& digits) {
  bool isNumber = false;
  const Address value = digits.toULongLong(&isNumber, 16);
  EXPECT_TRUE(isNumber) << qPrintable(digits);
  return value;
}

Address address(const QJsonValue& value) {
  EXPECT_TRUE(value.toString().startsWith("0x")) << qPrintable(value.toString());
  return number(value.toString().sliced(2));
}

std::set<Address> keysOf(const QJsonObject& object) {
  std::set<Address> keys;
  for (const QString& key : object.keys()) keys.insert(address(key));
  return keys;
}

std::vector<QJsonObject> objectsOf(const QJsonValue& list) {
  std::vector<QJsonObject> objects;
  for (const auto& object : list.toArray()) objects.push_back(object.toObject());
  for (const auto& object : list.toObject()) objects.push_back(object.toObject());
  return objects;
}

std::set<std::string> textsOf(const QJsonValue& list) {
  std::set<std::string> texts;
  for (const auto& text : list.toArray()) texts.insert(text.toString().toStdString());
  return texts;
}

/// Matches of `pattern`, line by line.
std::vector<QRegularExpressionMatch> matches(const QByteArray& text, const char* pattern) {
  const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
  std::vector<QRegularExpressionMatch> found;
  auto all = expression.globalMatch(QString::fromUtf8(text));
  while (all.hasNext()) found.push_back(all.next());
  return found;
}

struct Function {
  std::set<std::string> names;
  Address size = 0;
};

/// The functions that nm lists, by address.
std::map<Address, Function> functionsOf(const QString& path) {
  std::map<Address, Function> functions;
  const QByteArray listed = outputOf(ORVANE_TEST_NM " -S " + inQuotes(path));
  for (const auto& line : matches(listed, "^([0-9a-f]+)(?: ([0-9a-f]+))? [tT] (\\S+)$")) {
    Function& function = functions[number(line.captured(1))];
    function.names.insert(line.captured(3).toStdString());
    if (!line.captured(2).isEmpty()) function.size = number(line.captured(2));
  }
  return functions;
}

/// Instructions that do nothing, as they are written here and there.
const QRegularExpression kPadding(QStringLiteral("\\bnop|^xchg +%?ax, ?%?ax"));

/// The instructions that objdump finds in [start, end).
///
/// Without `padding`, only those that do something: what fills the space in front of a loop is never reached,
/// so nothing but a symbol's size tells that it belongs to a procedure.
std::set<Address> instructionsOf(const QString& path, Address start, Address end, bool padding = true) {
  std::set<Address> result;
  const QByteArray listed =
      outputOf(QStringLiteral(ORVANE_TEST_OBJDUMP " -d --start-address=%1 --stop-address=%2 %3")
                   .arg(QString::number(start), QString::number(end), inQuotes(path)));
  for (const auto& line : matches(listed, "^ *([0-9a-f]+):\\t[^\\t\\n]+\\t(.*)$")) {
    if (!padding && line.captured(2).contains(kPadding)) continue;
    result.insert(number(line.captured(1)));
  }
  return result;
}

/// The instructions that a listing of the development host's names; see instructionsOf() for `padding`.
std::set<Address> listedIn(const QByteArray& listing, bool padding = true) {
  std::set<Address> result;
  for (const auto& line : matches(listing, "^0x([0-9a-f]+)    (.*)$")) {
    if (!padding && line.captured(2).contains(kPadding)) continue;
    result.insert(number(line.captured(1)));
  }
  return result;
}

/// A program compiled once for all tests of a suite, with symbols and without.
class Compiled : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    program_ = folder_.path("program");
    stripped_ = folder_.path("stripped");
    outputOf(
        QStringLiteral(ORVANE_TEST_COMPILER " -x c %1 %2 -o %3")
            .arg(QLatin1StringView(GetParam()), inQuotes(testDataPath("program.c")), inQuotes(program_)));
    outputOf(QStringLiteral(ORVANE_TEST_STRIP " -o %1 %2").arg(inQuotes(stripped_), inQuotes(program_)));
    functions_ = functionsOf(program_);
    for (const auto& [start, function] : functions_) {
      for (const std::string& name : function.names) addresses_[name] = start;
    }
    withSymbols_.open(program_);
    withoutSymbols_.open(stripped_);
  }

  std::set<Address> listedInstructions(OpenedDocuments& documents, Address procedure, bool padding = true) {
    return listedIn(documents.text("asmOfProcedure:withReply:", {hexAddress(procedure)}).toUtf8(), padding);
  }

  /// Names of procedures in stubs' sections, which nm does not list.
  std::set<Address> stubs(OpenedDocuments& documents) {
    std::vector<std::pair<Address, Address>> ranges;
    for (const QJsonObject& segment : objectsOf(documents.ask("segmentListWithReply:"))) {
      for (const QJsonObject& section : objectsOf(segment["section"])) {
        if (section["name"].toString().startsWith(".plt")) {
          ranges.emplace_back(address(section["start"]), address(section["end"]));
        }
      }
    }
    std::set<Address> result;
    for (const Address entry : keysOf(documents.ask("procedureListWithReply:").toObject())) {
      for (const auto& [start, end] : ranges) {
        if (entry >= start && entry < end) result.insert(entry);
      }
    }
    return result;
  }

  QString entry(const char* name) { return hexAddress(addresses_.at(name)); }

  TestFolder folder_;
  QString program_;
  QString stripped_;
  std::map<Address, Function> functions_;
  std::map<std::string, Address> addresses_;
  OpenedDocuments withSymbols_;
  OpenedDocuments withoutSymbols_;
};

TEST_P(Compiled, HasTheProceduresThatNmListsAndStubsAndNoOthers) {
  const QJsonObject procedures = withSymbols_.ask("procedureListWithReply:").toObject();
  std::set<Address> expected = stubs(withSymbols_);
  EXPECT_FALSE(expected.empty());
  for (const auto& [start, function] : functions_) {
    expected.insert(start);
    EXPECT_THAT(function.names, testing::Contains(procedures[hexAddress(start)].toString().toStdString()));
  }
  EXPECT_EQ(keysOf(procedures), expected);
}

TEST_P(Compiled, GivesTheStubsTheNamesOfTheImports) {
  for (OpenedDocuments* documents : {&withSymbols_, &withoutSymbols_}) {
    const QJsonObject procedures = documents->ask("procedureListWithReply:").toObject();
    std::set<std::string> names;
    for (const Address stub : stubs(*documents))
      names.insert(procedures[hexAddress(stub)].toString().toStdString());
    EXPECT_THAT(names, testing::IsSupersetOf({"puts", "printf", "qsort", "exit"}));
  }
}

TEST_P(Compiled, HasTheSameOwnProceduresWithoutSymbols) {
  const QJsonObject procedures = withoutSymbols_.ask("procedureListWithReply:").toObject();
  for (const char* name : {"_start", "main", "twice", "hidden", "countdown", "choose", "passed_around"}) {
    EXPECT_EQ(procedures[entry(name)].toString(), "sub_" + entry(name).sliced(2)) << name;
  }
  for (const Address found : keysOf(procedures)) {
    EXPECT_TRUE(functions_.contains(found) || stubs(withoutSymbols_).contains(found)) << std::hex << found;
  }
}

TEST_P(Compiled, HasTheInstructionsThatObjdumpFinds) {
  for (const auto& [start, function] : functions_) {
    if (function.size == 0) continue;
    const std::set<Address> expected = instructionsOf(program_, start, start + function.size);
    EXPECT_EQ(listedInstructions(withSymbols_, start), expected) << *function.names.begin();
    const QJsonObject info = withSymbols_.ask("infoOfProcedure:withReply:", {hexAddress(start)}).toObject();
    EXPECT_EQ(static_cast<Address>(info["length"].toInteger()), function.size) << *function.names.begin();
  }
}

TEST_P(Compiled, HasTheSameInstructionsWithoutSymbols) {
  for (const char* name : {"main", "twice", "hidden", "countdown", "choose", "passed_around"}) {
    const Address start = addresses_.at(name);
    EXPECT_EQ(listedInstructions(withoutSymbols_, start, false),
              instructionsOf(program_, start, start + functions_.at(start).size, false))
        << name;
  }
}

TEST_P(Compiled, SplitsEveryProcedureIntoBlocksWithoutGapOrOverlap) {
  for (OpenedDocuments* documents : {&withSymbols_, &withoutSymbols_}) {
    const QJsonObject procedures = documents->ask("procedureInfoListWithReply:").toObject();
    for (const QJsonObject& info : objectsOf(procedures)) {
      const Address start = address(info["entrypoint"]);
      std::set<Address> inBlocks;
      for (const QJsonObject& block : objectsOf(info["basicblocks"])) {
        for (const Address at : instructionsOf(program_, address(block["from"]), address(block["to"]) + 1)) {
          EXPECT_TRUE(inBlocks.insert(at).second) << std::hex << at;
        }
      }
      EXPECT_EQ(inBlocks, listedInstructions(*documents, start));
      EXPECT_EQ(info["basicblocks"].toArray().size(), info["basicblock_count"].toInt());
    }
  }
}

TEST_P(Compiled, HasTheSegmentsThatReadelfLists) {
  using Row = std::tuple<Address, Address, bool, bool>;
  std::vector<Row> expected;
  const QByteArray listed = outputOf(ORVANE_TEST_READELF " -lW " + inQuotes(program_));
  for (const auto& line : matches(listed, "^ +LOAD +0x\\S+ 0x(\\S+) 0x\\S+ 0x\\S+ 0x(\\S+) (R.)(.)")) {
    const Address start = number(line.captured(1));
    expected.emplace_back(start, start + number(line.captured(2)), line.captured(3).endsWith('W'),
                          line.captured(4) == "E");
  }
  std::vector<Row> found;
  for (const QJsonObject& segment : objectsOf(withSymbols_.ask("segmentListWithReply:"))) {
    found.emplace_back(address(segment["start"]), address(segment["end"]), segment["writeable"].toBool(),
                       segment["executable"].toBool());
  }
  EXPECT_GE(found.size(), 2U);
  EXPECT_EQ(found, expected);
}

TEST_P(Compiled, HasTheSectionsThatReadelfLists) {
  using Row = std::tuple<std::string, Address, Address>;
  std::set<Row> expected;
  const QByteArray listed = outputOf(ORVANE_TEST_READELF " -SW " + inQuotes(program_));
  const char* const pattern =
      "^ +\\[ *\\d+\\] (\\S+) +\\S+ +([0-9a-f]+) [0-9a-f]+ ([0-9a-f]+) [0-9a-f]+ +([WAXMSILOGTCxoEDlp]+) ";
  for (const auto& line : matches(listed, pattern)) {
    if (!line.captured(4).contains('A') || line.captured(4).contains('T')) continue;
    const Address start = number(line.captured(2));
    expected.emplace(line.captured(1).toStdString(), start, start + number(line.captured(3)));
  }
  std::set<Row> found;
  for (const QJsonObject& segment : objectsOf(withSymbols_.ask("segmentListWithReply:"))) {
    for (const QJsonObject& section : objectsOf(segment["section"])) {
      EXPECT_GE(address(section["start"]), address(segment["start"]));
      EXPECT_LE(address(section["end"]), address(segment["end"]));
      found.emplace(section["name"].toString().toStdString(), address(section["start"]),
                    address(section["end"]));
    }
  }
  EXPECT_GE(found.size(), 15U);
  EXPECT_EQ(found, expected);
}

TEST_P(Compiled, KnowsWhoCallsWhom) {
  using Names = std::set<std::string>;
  const auto callers = [this](const char* name) {
    return textsOf(withSymbols_.ask("callersOfProcedure:withReply:", {name}));
  };
  const auto callees = [this](const char* name) {
    Names names = textsOf(withSymbols_.ask("calleesOfProcedure:withReply:", {name}));
    names.erase("__stack_chk_fail");  // called or not as the compiler's options say
    return names;
  };
  EXPECT_EQ(callers("twice"), (Names{"choose", "main"}));
  EXPECT_EQ(callers("hidden"), (Names{"twice"}));
  // The compiler may have made a loop of the recursion.
  EXPECT_THAT(callers("countdown"), testing::AnyOf(Names{"choose"}, Names{"choose", "countdown"}));
  EXPECT_EQ(callers("passed_around"), Names());
  EXPECT_EQ(callers("exit"), (Names{"main"}));
  EXPECT_EQ(callees("twice"), (Names{"hidden", "printf"}));
  EXPECT_EQ(callees("choose"), (Names{"countdown", "puts", "twice"}));
  EXPECT_EQ(callees("main"), (Names{"choose", "exit", "qsort", "twice"}));
  EXPECT_EQ(callees("_start"), (Names{"__libc_start_main"}));
}

TEST_P(Compiled, RefersToACalleeFromExactlyTheInstructionsThatCallIt) {
  for (const char* name : {"twice", "hidden", "countdown"}) {
    std::set<std::string> expected;
    const QByteArray listed = outputOf(ORVANE_TEST_OBJDUMP " -d " + inQuotes(program_));
    const std::string pattern = std::string("^ *([0-9a-f]+):.*\\t(?:call|jmp) +[0-9a-f]+ <") + name + ">$";
    for (const auto& line : matches(listed, pattern.c_str())) {
      expected.insert("0x" + line.captured(1).toStdString());
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(textsOf(withSymbols_.ask("referencesToAddress:withReply:", {name})), expected) << name;
    EXPECT_EQ(textsOf(withoutSymbols_.ask("referencesToAddress:withReply:", {entry(name)})), expected)
        << name;
  }
}

TEST_P(Compiled, FindsTheStringsAndTheCodeThatUsesThem) {
  for (const char* text : {"zero here", "two here", "five here", "twice of %d\n"}) {
    const QJsonObject found = withoutSymbols_
                                  .ask("searchStringUsingPattern:caseSensitive:withReply:",
                                       {u'^' + QRegularExpression::escape(QString(text)), true})
                                  .toObject();
    ASSERT_EQ(found.size(), 1) << text;
    EXPECT_EQ(found.begin().value(), text);
    const QJsonArray users =
        withoutSymbols_.ask("referencesToAddress:withReply:", {found.begin().key()}).toArray();
    ASSERT_EQ(users.size(), 1) << text;
    const bool isTwice = QString(text).startsWith("twice");
    EXPECT_EQ(withoutSymbols_.text("addressOfProcedure:withReply:", {users[0]}),
              entry(isTwice ? "twice" : "choose"));
  }
}

/// A conversation with the built server, as its client holds it.
class Conversation {
 public:
  explicit Conversation(const QString& socketFolder)
      : server_({.socketFolder = socketFolder.toStdString()}) {}

  /// The reply to a tool call, whole.
  QJsonObject reply(const char* tool, const QJsonObject& arguments = {}) {
    const QJsonObject request{{"jsonrpc", "2.0"},
                              {"id", 1},
                              {"method", "tools/call"},
                              {"params", QJsonObject{{"name", tool}, {"arguments", arguments}}}};
    const std::string line = server_.ask(jsonText(request));
    return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
  }

  /// The text of a call's result.
  QByteArray text(const char* tool, const QJsonObject& arguments = {}) {
    return reply(tool, arguments)["result"][u"content"][0][u"text"].toString().toUtf8();
  }

  /// The JSON that is the text of a call's result: an array or an object.
  QJsonValue value(const char* tool, const QJsonObject& arguments = {}) {
    const QJsonDocument document = QJsonDocument::fromJson(text(tool, arguments));
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
  }

 private:
  ServerProcess server_;
};

TEST_P(Compiled, IsTalkedAboutThroughTheServer) {
  using Names = std::set<std::string>;
  DevhostProcess host(folder_.path());
  ASSERT_NE(host.startAndWait({program_}), QString());
  Conversation server(folder_.path());
  const Address twice = addresses_.at("twice");
  const QString twiceText = hexAddress(twice);

  EXPECT_EQ(server.value("list_documents"), QJsonArray{"program"});
  EXPECT_EQ(server.value("search_procedures", {{"pattern", "^twice$"}, {"case_sensitive", true}}),
            (QJsonObject{{twiceText, "twice"}}));
  EXPECT_EQ(listedIn(server.text("procedure_assembly", {{"procedure", "twice"}})),
            instructionsOf(program_, twice, twice + functions_.at(twice).size));
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "twice"}})), (Names{"choose", "main"}));
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "hidden"}})), Names{"twice"});

  const QJsonObject found =
      server.value("search_strings", {{"pattern", "^two here$"}, {"case_sensitive", true}}).toObject();
  ASSERT_EQ(found.size(), 1);
  const QJsonArray users = server.value("xrefs", {{"address", found.begin().key()}}).toArray();
  ASSERT_EQ(users.size(), 1);
  server.text("goto_address", {{"address", users[0]}});
  EXPECT_EQ(server.text("current_procedure"), "choose");

  server.text("set_comment", {{"address", twiceText}, {"comment", "doubles \"it\""}});
  EXPECT_EQ(server.text("comment", {{"address", twiceText}}), "doubles \"it\"");
  server.text("set_address_name", {{"address", twiceText}, {"name", "two_times"}});
  EXPECT_EQ(server.text("address_name", {{"address", twiceText}}), "two_times");
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "hidden"}})), Names{"two_times"});
  EXPECT_EQ(server.reply("procedure_info", {{"procedure", "no_such_name"}})["error"][u"code"], -32000);
}

TEST(CompiledCxx, HasTheSignaturesThatMangledNamesTell) {
  const TestFolder folder;
  const QString source =
      folder.write("source.cpp",
                   "namespace shop { struct Basket { int add(const char*, unsigned long); }; }\n"
                   "int shop::Basket::add(const char* what, unsigned long n) { return *what + int(n); }\n"
                   "extern \"C\" int plain(int n) { return n; }\n");
  const QString library = folder.path("library");
  outputOf(QStringLiteral(ORVANE_TEST_COMPILER " -shared -fPIC -nostdlib %1 -o %2")
               .arg(inQuotes(source), inQuotes(library)));
  OpenedDocuments documents;
  documents.open(library);
  const auto info = [&](const char* name) {
    return documents.ask("infoOfProcedure:withReply:", {name}).toObject();
  };
  EXPECT_EQ(info("_ZN4shop6Basket3addEPKcm")["signature"], "shop::Basket::add(char const*, unsigned long)");
  EXPECT_FALSE(info("plain").contains("signature"));
}

INSTANTIATE_TEST_SUITE_P(Options, Compiled,
                         testing::Values("-O1 -fno-stack-protector", "-O2 -fcf-protection=full -Wl,-z,now",
                                         "-O0 -fstack-protector-all",
                                         "-O1 -no-pie -fno-pie -fno-stack-protector"));

}  // namespace
