// The development host against objdump and readelf on a C++ program, data/program.cpp: with exceptions, whose
// landing pads nothing jumps to, and with tables of pointers.

#include "devhost/code/other_tools.h"
#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <QJsonArray>
#include <QJsonObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

/// A program that the build has compiled, in one of several ways.
class CxxProgram : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    path_ = QStringLiteral(ORVANE_TEST_PROGRAMS "/") + GetParam();
    documents_.open(path_);
  }

  QStringList procedures() { return documents_.ask("procedureListWithReply:").toObject().keys(); }

  /// The address of the only string that is `text`.
  QString addressOfString(const QString& text) {
    const QJsonObject found =
        documents_.ask("searchStringUsingPattern:caseSensitive:withReply:", {u'^' + text + u'$', true})
            .toObject();
    EXPECT_EQ(found.size(), 1) << qPrintable(text);
    return found.isEmpty() ? QString() : found.begin().key();
  }

  QJsonArray referencesTo(const QString& address) {
    return documents_.ask("referencesToAddress:withReply:", {address}).toArray();
  }

  QString path_;
  OpenedDocuments documents_;
};

TEST_P(CxxProgram, HasAProcedureForEveryFunctionOfTheUnwindTable) {
  const std::set<Address> found = keysOf(documents_.ask("procedureListWithReply:").toObject());
  const QByteArray listed = outputOf(ORVANE_TEST_READELF " --debug-dump=frames " + inQuotes(path_));
  const auto functions = matches(listed, "FDE cie=\\S+ pc=([0-9a-f]+)\\.\\.");
  EXPECT_GE(functions.size(), 10U);
  for (const auto& function : functions) {
    EXPECT_TRUE(found.contains(number(function.captured(1)))) << qPrintable(function.captured(1));
  }
}

TEST_P(CxxProgram, HasNearlyAllInstructionsThatObjdumpShowsAndNoOther) {
  std::set<Address> found;
  for (const QString& procedure : procedures()) {
    found.merge(listedIn(documents_.text("asmOfProcedure:withReply:", {procedure}).toUtf8(), true));
  }
  const std::set<Address> all = instructionsOf(path_, 0, kNoEnd, true);
  std::set<Address> missed = instructionsOf(path_, 0, kNoEnd, false);
  const std::size_t count = missed.size();
  EXPECT_GE(count, 300U);
  for (const Address address : found) {
    EXPECT_TRUE(all.contains(address)) << "invented: " << std::hex << address;
    missed.erase(address);
  }
  EXPECT_LE(100 * missed.size(), count) << std::hex << *missed.begin();
}

TEST_P(CxxProgram, HasReferencesFromTablesOfPointersToStringsAndProcedures) {
  std::vector<Address> cells;
  for (const char* text : {"name of zero", "name of one", "name of two"}) {
    const QJsonArray users = referencesTo(addressOfString(text));
    ASSERT_EQ(users.size(), 1) << text;
    cells.push_back(address(users[0]));
  }
  EXPECT_EQ(cells[1], cells[0] + 8);
  EXPECT_EQ(cells[2], cells[0] + 16);
}

TEST_P(CxxProgram, HasStringsOfUtf16AndTheCodeThatUsesThem) {
  const QString wide = addressOfString("wide text of the program");
  EXPECT_FALSE(referencesTo(wide).isEmpty());
  const Address behind = number(wide.sliced(2)) + 2 * std::string("wide text of the program").size() + 2;
  EXPECT_EQ(documents_.text("nextAddress:withReply:", {wide}), hexAddress(behind));
  EXPECT_EQ(documents_.text("prevAddress:withReply:", {hexAddress(behind)}), wide);
}

INSTANTIATE_TEST_SUITE_P(Programs, CxxProgram,
                         testing::Values("cxx", "cxx_stripped", "cxx_at_fixed_address",
                                         "cxx_at_fixed_address_stripped"),
                         [](const auto& program) { return std::string(program.param); });

}  // namespace
