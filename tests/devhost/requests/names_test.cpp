// Names that users give.

#include "devhost/requests/requests_on_sample.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

TEST_F(Requests, ShowANewNameEverywhereAtOnce) {
  EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"twice", "doubled"}),
            R"(Set the name of 0x1310 to "doubled".)");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x1310"}), "doubled");
  EXPECT_EQ(sample_.ask("procedureListWithReply:").toObject()["0x1310"], "doubled");
  EXPECT_EQ(sample_.ask("nameListWithReply:").toObject()["0x1310"], "doubled");
  EXPECT_EQ(sample_.ask("procedureSizeListWithReply:").toObject()["0x1310"].toObject()["name"], "doubled");
  EXPECT_EQ(sample_.ask("procedureInfoListWithReply:").toObject()["0x1310"].toObject()["name"], "doubled");
  EXPECT_EQ(json("searchProcedureUsingPattern:caseSensitive:withReply:", {"doub", true}),
            R"({"0x1310":"doubled"})");
  EXPECT_EQ(json("searchNameUsingPattern:caseSensitive:withReply:", {"doub", true}),
            R"({"0x1310":"doubled"})");
  EXPECT_EQ(json("searchNameUsingPattern:caseSensitive:withReply:", {"^twice$", true}), "{}");
  EXPECT_EQ(json("calleesOfProcedure:withReply:", {"begin"}), R"(["doubled","quietly"])");
  EXPECT_EQ(json("callersOfProcedure:withReply:", {"imported"}), R"(["doubled"])");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"doubled"}), "0x1310");
  EXPECT_TRUE(
      sample_.text("asmOfProcedure:withReply:", {"doubled"}).startsWith("; procedure doubled\ndoubled:\n"));
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"begin"}).contains("call      doubled\n"));
  sample_.ask("gotoAddress:withReply:", {"doubled"});
  EXPECT_EQ(sample_.text("currentProcedureWithReply:"), "doubled");
  EXPECT_EQ(sample_.failure("addressOfProcedure:withReply:", {"twice"}),
            R"(There is no procedure "twice" in the document "sample_x86_64.elf".)");
}

TEST_F(Requests, BringBackTheNameOfTheFileWhenAUsersIsRemoved) {
  for (const char* address : {"0x1310", "0x34b8"}) {
    const QString own = sample_.text("nameOfAddress:withReply:", {address});
    sample_.ask("setNameOfAddress:to:withReply:", {address, "another"});
    EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"another", ""}),
              QStringLiteral("Removed the name of %1.").arg(address));
    EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {address}), own);
    EXPECT_EQ(sample_.text("gotoAddress:withReply:", {own}),
              QStringLiteral("The current address is %1.").arg(address));
  }
}

TEST_F(Requests, GiveAProcedureWithoutASymbolItsDefaultNameWhenAUsersIsRemoved) {
  OpenedDocuments stripped;
  stripped.open(testDataPath("sample_arm64_stripped.elf"));
  stripped.ask("setNameOfAddress:to:withReply:", {"0x1030c", "doubled"});
  stripped.ask("setNameOfAddress:to:withReply:", {"doubled", ""});
  EXPECT_EQ(stripped.text("nameOfAddress:withReply:", {"0x1030c"}), "sub_1030c");
  EXPECT_EQ(stripped.text("addressOfProcedure:withReply:", {"sub_1030c"}), "0x1030c");
}

TEST_F(Requests, ShowARenamedImportAmongCallees) {
  OpenedDocuments program;
  program.open(testDataPath("sample_x86_64.exe"));
  const char* const caller = "sub_140001000";
  EXPECT_EQ(program.ask("calleesOfProcedure:withReply:", {caller}).toArray(), QJsonArray{"imported"});
  program.ask("setNameOfAddress:to:withReply:", {"imp_imported", "my_import"});
  EXPECT_EQ(program.ask("calleesOfProcedure:withReply:", {caller}).toArray(), QJsonArray{"my_import"});
}

TEST_F(Requests, RefuseNamesThatCouldNotBeFoundAgain) {
  const std::pair<const char*, const char*> rows[] = {
      {"0x1000", "it looks like an address"},
      {"0Xyz", "it looks like an address"},
      {"1310", "it looks like an address"},
      {"40112e", "it looks like an address"},
      {"  ", "it begins or ends with a blank"},
      {" 1149 ", "it begins or ends with a blank"},
      {"[hide", "it would be read as JSON and be lost"},
      {"{}", "it would be read as JSON and be lost"},
      {"a\nb", "it has a control character"},
  };
  for (const auto& [name, reason] : rows) {
    const QString sentence = QStringLiteral("\"%1\" cannot be a name: %2.").arg(name, reason);
    EXPECT_EQ(sample_.failure("setNameOfAddress:to:withReply:", {"twice", name}), sentence);
    EXPECT_EQ(sample_.failure("setNamesOfAddresses:withReply:", {QJsonObject{{"twice", name}}}), sentence);
  }
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x1310"}), "twice");
  for (const char* name : {"add", "a[0]", "x0x1", "operator()", "twice of two"}) {
    EXPECT_EQ(sample_.reply("setNameOfAddress:to:withReply:", {"0x1310", name})["success"], true) << name;
  }
}

TEST_F(Requests, LeaveAnAddressWithoutANameWhenItIsRemoved) {
  EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"0x1315", "spot"}),
            R"(Set the name of 0x1315 to "spot".)");
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"twice"}).contains("\nspot:\n0x1315 "));
  EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"spot", ""}), "Removed the name of 0x1315.");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x1315"}), "");
  EXPECT_FALSE(sample_.ask("nameListWithReply:").toObject().contains("0x1315"));
  EXPECT_FALSE(sample_.text("asmOfProcedure:withReply:", {"twice"}).contains("spot"));
}

TEST_F(Requests, SetManyNamesAtOnce) {
  const QJsonObject names{{"0x1310", "one"}, {"begin", "two"}, {"0x34b8", ""}};
  EXPECT_EQ(sample_.text("setNamesOfAddresses:withReply:", {names}), "Set the names of 3 addresses.");
  EXPECT_EQ(json("procedureListWithReply:"),
            R"({"0x1310":"one","0x1350":"two","0x1390":"quietly","0x13c0":"imported"})");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x34b8"}), "counter");
  const QJsonObject one{{"0x34b8", "again"}};
  EXPECT_EQ(sample_.text("setNamesOfAddresses:withReply:", {one}), "Set the name of 1 address.");
}

TEST_F(Requests, SetNoneOfManyNamesWhenOneAddressIsWrong) {
  const QJsonObject names{{"0x1310", "one"}, {"0x999999", "two"}};
  EXPECT_EQ(sample_.failure("setNamesOfAddresses:withReply:", {names}),
            R"(The address "0x999999" is not part of the document "sample_x86_64.elf".)");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x1310"}), "twice");
  EXPECT_EQ(sample_.failure("setNamesOfAddresses:withReply:", {QJsonObject{{"", "one"}}}),
            R"("" is not an address.)");
  EXPECT_EQ(sample_.failure("setNamesOfAddresses:withReply:", {QJsonObject{{"0x1310", 5}}}),
            R"(The name of "0x1310" is not a string.)");
}

TEST_F(Requests, PreferALabelToTheNumberThatItCouldBe) {
  sample_.ask("setNameOfAddress:to:withReply:", {"0x1390", "fa"});
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"fa"}), "The current address is 0x1390.");
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"0xfa"}), "The current address is 0xfa.");
}

/// The sample with a symbol that begins with a bracket: "[wice" in place of "twice".
TEST(SymbolWithABracket, IsFoundListedAndReadLikeAnyOther) {
  const TestFolder folder;
  OpenedDocuments documents;
  documents.open(
      folder.write("[file]", readFile(testDataPath("sample_x86_64.elf")).replace("twice", "[wice")));
  // With a blank in front the server passes a text on; as it is it would arrive as null.
  EXPECT_EQ(documents.text("nameOfAddress:withReply:", {"0x1310"}), " [wice");
  EXPECT_EQ(documents.text("currentDocumentWithReply:"), " [file]");
  for (const char* name : {"[wice", " [wice"}) {
    EXPECT_EQ(documents.text("addressOfProcedure:withReply:", {name}), "0x1310");
    EXPECT_TRUE(
        documents.text("asmOfProcedure:withReply:", {name}).startsWith("; procedure [wice\n[wice:\n0x1310 "));
  }
  for (const char* name : {"[file]", " [file]"}) {
    EXPECT_EQ(documents.reply("setCurrentDocument:withReply:", {name})["success"], true);
  }
  EXPECT_EQ(jsonText(documents.ask("searchProcedureUsingPattern:caseSensitive:withReply:", {"\\[wi", true})),
            R"({"0x1310":"[wice"})");
  documents.ask("gotoAddress:withReply:", {"[wice"});
  EXPECT_EQ(documents.text("currentProcedureWithReply:"), " [wice");
  EXPECT_EQ(jsonText(documents.ask("calleesOfProcedure:withReply:", {"begin"})), R"(["[wice","quietly"])");
}

}  // namespace
