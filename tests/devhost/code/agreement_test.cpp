// The development host against independent tools, on programs that the build compiles from data/program.c.

#include "devhost/code/other_tools.h"
#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <QRegularExpression>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

/// A program that the build has compiled, in one of several ways; with symbols and without.
class Compiled : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    program_ = QStringLiteral(ORVANE_TEST_PROGRAMS "/") + GetParam();
    stripped_ = program_ + QStringLiteral("_stripped");
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
        const Address last = address(block["to"]);
        // objdump leaves an instruction of four bytes out of which not all is asked for.
        std::set<Address> instructions = instructionsOf(program_, address(block["from"]), last + 1);
        instructions.insert(last);
        for (const Address at : instructions) EXPECT_TRUE(inBlocks.insert(at).second) << std::hex << at;
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

using Names = std::set<std::string>;

/// What the start-up code of this processor calls in a program.
Names calleesOfStart([[maybe_unused]] const std::string& program) {
#if defined(__aarch64__)
  if (program == "at_fixed_address") return {"__libc_start_main", "abort", "main"};
  return {"__libc_start_main", "abort"};
#else
  return {"__libc_start_main"};
#endif
}

TEST_P(Compiled, KnowsWhoCallsWhom) {
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
  EXPECT_EQ(callees("_start"), calleesOfStart(GetParam()));
}

TEST_P(Compiled, RefersToACalleeFromExactlyTheInstructionsThatCallIt) {
  for (const char* name : {"twice", "hidden", "countdown"}) {
    std::set<std::string> expected;
    const QByteArray listed = outputOf(ORVANE_TEST_OBJDUMP " -d " + inQuotes(program_));
    const std::string pattern =
        std::string("^ *([0-9a-f]+):.*\\t(?:call|jmp|bl|b)\\s+[0-9a-f]+ <") + name + ">$";
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

INSTANTIATE_TEST_SUITE_P(Options, Compiled,
                         testing::Values("plain", "hardened", "unoptimised", "at_fixed_address"));

}  // namespace
