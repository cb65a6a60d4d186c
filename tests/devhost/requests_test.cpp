// What each request answers, on a small library whose addresses are known: data/sample_x86_64.elf.

#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <QFile>

#include <gtest/gtest.h>

#include <string>

namespace {

class Requests : public testing::Test {
 protected:
  void SetUp() override { sample_.open(testDataPath("sample_x86_64.elf")); }

  std::string json(const char* selector, const QJsonArray& args = {}) {
    return jsonText(sample_.ask(selector, args));
  }

  OpenedDocuments sample_;
};

TEST_F(Requests, ListSegmentsWithTheirSections) {
  EXPECT_EQ(json("segmentListWithReply:"),
            R"([{"end":"0x30b","executable":false,"name":"LOAD0","section":[)"
            R"({"end":"0x260","name":".dynsym","start":"0x200"},)"
            R"({"end":"0x284","name":".gnu.hash","start":"0x260"},)"
            R"({"end":"0x2ac","name":".hash","start":"0x284"},)"
            R"({"end":"0x2c4","name":".dynstr","start":"0x2ac"},)"
            R"({"end":"0x2e0","name":".rela.dyn","start":"0x2c8"},)"
            R"({"end":"0x2f8","name":".rela.plt","start":"0x2e0"},)"
            R"({"end":"0x30b","name":".rodata","start":"0x2f8"}],"start":"0x0","writeable":false},)"
            R"({"end":"0x13d0","executable":true,"name":"LOAD1","section":[)"
            R"({"end":"0x13a4","name":".text","start":"0x1310"},)"
            R"({"end":"0x13d0","name":".plt","start":"0x13b0"}],"start":"0x1310","writeable":false},)"
            R"({"end":"0x24b8","executable":false,"name":"LOAD2","section":[)"
            R"({"end":"0x24b0","name":".dynamic","start":"0x23d0"},)"
            R"({"end":"0x24b8","name":".got","start":"0x24b0"}],"start":"0x23d0","writeable":true},)"
            R"({"end":"0x34e0","executable":false,"name":"LOAD3","section":[)"
            R"({"end":"0x34bc","name":".data","start":"0x34b8"},)"
            R"({"end":"0x34e0","name":".got.plt","start":"0x34c0"}],"start":"0x34b8","writeable":true}])");
}

TEST_F(Requests, ListProceduresByTheirEntryPoints) {
  EXPECT_EQ(json("procedureListWithReply:"),
            R"({"0x1310":"twice","0x1350":"begin","0x1390":"quietly","0x13c0":"imported"})");
}

TEST_F(Requests, ListTheSizeOfProcedures) {
  EXPECT_EQ(json("procedureSizeListWithReply:"),
            R"({"0x1310":{"basicblock_count":1,"name":"twice","size":58},)"
            R"("0x1350":{"basicblock_count":6,"name":"begin","size":52},)"
            R"("0x1390":{"basicblock_count":1,"name":"quietly","size":20},)"
            R"("0x13c0":{"basicblock_count":1,"name":"imported","size":6}})");
}

TEST_F(Requests, DescribeAProcedureByNameAndByAnyAddressInIt) {
  const std::string twice =
      R"({"basicblock_count":1,"basicblocks":[{"from":"0x1310","to":"0x1349"}],"entrypoint":"0x1310","length":58,)"
      R"("locals":[{"displacement":0,"name":"stack_0"},{"displacement":4,"name":"stack_4"},)"
      R"({"displacement":8,"name":"stack_8"},{"displacement":12,"name":"stack_c"}],"name":"twice"})";
  for (const char* way : {"twice", "0x1310", "0x1349", "1330", "0X1312"}) {
    EXPECT_EQ(json("infoOfProcedure:withReply:", {way}), twice) << way;
  }
  const QJsonObject all = sample_.ask("procedureInfoListWithReply:").toObject();
  EXPECT_EQ(all.keys(), (QStringList{"0x1310", "0x1350", "0x1390", "0x13c0"}));
  EXPECT_EQ(jsonText(all["0x1310"]), twice);
}

TEST_F(Requests, SplitAProcedureIntoBlocksWhoseEndIsTheirLastInstruction) {
  const QJsonObject begin = sample_.ask("infoOfProcedure:withReply:", {"begin"}).toObject();
  EXPECT_EQ(jsonText(begin["basicblocks"]),
            R"([{"from":"0x1350","to":"0x1359"},{"from":"0x135b","to":"0x135f"},)"
            R"({"from":"0x1360","to":"0x136f"},{"from":"0x1371","to":"0x1371"},)"
            R"({"from":"0x1373","to":"0x1373"},{"from":"0x1375","to":"0x1383"}])");
}

TEST_F(Requests, FindTheEntryPointOfAProcedure) {
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"quietly"}), "0x1390");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"0x13a3"}), "0x1390");
}

TEST_F(Requests, ShowAssemblyWithNamesAndStrings) {
  EXPECT_EQ(sample_.text("asmOfProcedure:withReply:", {"twice"}).toStdString(),
            "twice:\n"
            "0x1310    push      rbx\n"
            "0x1311    sub       rsp, 0x10\n"
            "0x1315    mov       dword ptr [rsp], edi\n"
            "0x1318    add       edi, 1\n"
            "0x131b    mov       dword ptr [rsp + 4], edi\n"
            "0x131f    mov       dword ptr [rsp + 8], 0\n"
            "0x1327    mov       dword ptr [rsp + 0xc], 0\n"
            "0x132f    mov       ebx, dword ptr [rsp]\n"
            "0x1332    add       ebx, dword ptr [rsp + 4]\n"
            "0x1336    lea       rdi, [0x2f8]    ; \"text of the sample\"\n"
            "0x133d    call      imported\n"
            "0x1342    add       eax, ebx\n"
            "0x1344    add       rsp, 0x10\n"
            "0x1348    pop       rbx\n"
            "0x1349    ret\n");
}

TEST_F(Requests, ShowLabelsWhereBranchesLead) {
  const std::string begin = sample_.text("asmOfProcedure:withReply:", {"begin"}).toStdString();
  EXPECT_NE(begin.find("0x1359    jle       loc_1373\n"), std::string::npos) << begin;
  EXPECT_NE(begin.find("\nloc_1373:\n0x1373    xor       ebx, ebx\nloc_1375:\n"), std::string::npos) << begin;
}

TEST_F(Requests, KnowCallersAndCallees) {
  EXPECT_EQ(json("callersOfProcedure:withReply:", {"twice"}), R"(["begin","quietly"])");
  EXPECT_EQ(json("callersOfProcedure:withReply:", {"begin"}), "[]");
  EXPECT_EQ(json("calleesOfProcedure:withReply:", {"begin"}), R"(["twice","quietly"])");
  EXPECT_EQ(json("callersOfProcedure:withReply:", {"imported"}), R"(["twice"])");
  EXPECT_EQ(json("calleesOfProcedure:withReply:", {"imported"}), "[]");
}

TEST_F(Requests, KnowWhatRefersToAnAddress) {
  EXPECT_EQ(json("referencesToAddress:withReply:", {"twice"}), R"(["0x1378","0x139a"])");
  EXPECT_EQ(json("referencesToAddress:withReply:", {"0x1360"}), R"(["0x136f"])");
  EXPECT_EQ(json("referencesToAddress:withReply:", {"0x2f8"}), R"(["0x1336"])");
  EXPECT_EQ(json("referencesToAddress:withReply:", {"0x1311"}), "[]");
}

TEST_F(Requests, ListStringsAndNames) {
  EXPECT_EQ(json("stringListWithReply:"), R"({"0x2f8":"text of the sample"})");
  EXPECT_EQ(
      json("nameListWithReply:"),
      R"({"0x1310":"twice","0x1350":"begin","0x1390":"quietly","0x13c0":"imported","0x23d0":"_DYNAMIC",)"
      R"("0x24b0":"imp_counter","0x34b8":"counter","0x34d8":"imp_imported"})");
}

TEST_F(Requests, SearchWithRegularExpressionsInEitherCase) {
  EXPECT_EQ(json("searchStringUsingPattern:caseSensitive:withReply:", {"^TEXT", false}),
            R"({"0x2f8":"text of the sample"})");
  EXPECT_EQ(json("searchStringUsingPattern:caseSensitive:withReply:", {"^TEXT", true}), "{}");
  EXPECT_EQ(json("searchProcedureUsingPattern:caseSensitive:withReply:", {"^.{5}$", true}),
            R"({"0x1310":"twice","0x1350":"begin"})");
  EXPECT_EQ(json("searchProcedureUsingPattern:caseSensitive:withReply:", {"TWICE", true}), "{}");
  EXPECT_EQ(json("searchNameUsingPattern:caseSensitive:withReply:", {"COUNTER", false}),
            R"({"0x24b0":"imp_counter","0x34b8":"counter"})");
  EXPECT_EQ(json("searchNameUsingPattern:caseSensitive:withReply:", {"COUNTER", true}), "{}");
}

TEST_F(Requests, StepThroughInstructionsStringsAndSegments) {
  struct Row {
    const char* from;
    const char* next;
  };
  const Row rows[] = {
      {"0x1310", "0x1311"},  // instructions
      {"0x1312", "0x1315"},  // from inside one
      {"0x13a3", "0x13a4"},  // a byte of padding follows
      {"0x2f8", "0x1310"},   // a string with its zero, and the next segment
      {"0x0", "0x1"},        // bytes
  };
  for (const Row& row : rows)
    EXPECT_EQ(sample_.text("nextAddress:withReply:", {row.from}), row.next) << row.from;
  EXPECT_EQ(sample_.text("prevAddress:withReply:", {"0x1315"}), "0x1311");
  EXPECT_EQ(sample_.text("prevAddress:withReply:", {"0x1310"}), "0x2f8");
  EXPECT_EQ(sample_.text("prevAddress:withReply:", {"0x1"}), "0x0");
  EXPECT_EQ(sample_.failure("prevAddress:withReply:", {"0x0"}), "No address comes before 0x0.");
  EXPECT_EQ(sample_.failure("nextAddress:withReply:", {"0x34df"}), "No address comes after 0x34df.");
}

TEST_F(Requests, TakeAnUnsetAddressForTheCurrentOne) {
  EXPECT_EQ(sample_.text("currentAddressWithReply:"), "0x1350");
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"0x1311"}), "The current address is 0x1311.");
  EXPECT_EQ(sample_.text("currentAddressWithReply:"), "0x1311");
  EXPECT_EQ(sample_.text("setComment:atAddress:withReply:", {"above", ""}), "Set the comment at 0x1311.");
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {""}), "above");
  EXPECT_EQ(sample_.text("setInlineComment:atAddress:withReply:", {"beside", ""}),
            "Set the inline comment at 0x1311.");
  EXPECT_EQ(sample_.text("inlineCommentAtAddress:withReply:", {""}), "beside");
  EXPECT_EQ(sample_.text("setBookmarkAtAddress:withName:withReply:", {"", ""}), "Set a bookmark at 0x1311.");
  EXPECT_EQ(sample_.text("unsetBookmarkAtAddress:withReply:", {""}), "Removed the bookmark at 0x1311.");
  EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"", "here"}),
            R"(Set the name of 0x1311 to "here".)");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {""}), "here");
  EXPECT_EQ(sample_.text("nextAddress:withReply:", {""}), "0x1315");
  EXPECT_EQ(sample_.text("prevAddress:withReply:", {""}), "0x1310");
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"twice"}), "The current address is 0x1310.");
  EXPECT_EQ(json("referencesToAddress:withReply:", {""}), R"(["0x1378","0x139a"])");
}

TEST_F(Requests, TakeAnUnsetProcedureForTheCurrentOne) {
  sample_.ask("gotoAddress:withReply:", {"0x139a"});
  EXPECT_EQ(sample_.text("currentProcedureWithReply:"), "quietly");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {""}), "0x1390");
  EXPECT_EQ(sample_.ask("infoOfProcedure:withReply:", {""}).toObject()["name"], "quietly");
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {""}).startsWith("quietly:\n"));
  EXPECT_EQ(json("callersOfProcedure:withReply:", {""}), R"(["begin"])");
  EXPECT_EQ(json("calleesOfProcedure:withReply:", {""}), R"(["twice"])");
}

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
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"doubled"}).startsWith("doubled:\n"));
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"begin"}).contains("call      doubled\n"));
  sample_.ask("gotoAddress:withReply:", {"doubled"});
  EXPECT_EQ(sample_.text("currentProcedureWithReply:"), "doubled");
  EXPECT_EQ(sample_.failure("addressOfProcedure:withReply:", {"twice"}),
            R"(There is no procedure "twice" in the document "sample_x86_64.elf".)");
}

TEST_F(Requests, GiveAProcedureItsDefaultNameWhenItsNameIsRemoved) {
  EXPECT_EQ(sample_.text("setNameOfAddress:to:withReply:", {"twice", ""}), "Removed the name of 0x1310.");
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x1310"}), "sub_1310");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"sub_1310"}), "0x1310");
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
  EXPECT_EQ(sample_.text("nameOfAddress:withReply:", {"0x34b8"}), "");
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

TEST_F(Requests, ShowCommentsInTheListingUntilTheyAreRemoved) {
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {"0x1311"}), "");
  EXPECT_EQ(sample_.text("inlineCommentAtAddress:withReply:", {"0x1311"}), "");
  sample_.ask("setComment:atAddress:withReply:", {"first\nsecond", "0x1311"});
  sample_.ask("setInlineComment:atAddress:withReply:", {"room for four", "0x1311"});
  sample_.ask("setInlineComment:atAddress:withReply:", {"the text", "0x1336"});
  const QString listing = sample_.text("asmOfProcedure:withReply:", {"twice"});
  EXPECT_TRUE(listing.contains("; first\n; second\n0x1311    sub       rsp, 0x10    ; room for four\n"));
  EXPECT_TRUE(listing.contains("lea       rdi, [0x2f8]    ; \"text of the sample\" ; the text\n"));
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {"0x1311"}), "first\nsecond");
  EXPECT_EQ(sample_.text("setComment:atAddress:withReply:", {"", "0x1311"}),
            "Removed the comment at 0x1311.");
  EXPECT_EQ(sample_.text("setInlineComment:atAddress:withReply:", {"", "0x1311"}),
            "Removed the inline comment at 0x1311.");
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {"0x1311"}), "");
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"twice"})
                  .contains("0x1310    push      rbx\n0x1311    sub       rsp, 0x10\n"));
}

TEST_F(Requests, KeepBookmarksInTheOrderOfTheirAddresses) {
  EXPECT_EQ(json("bookmarkListWithReply:"), "[]");
  EXPECT_EQ(sample_.text("setBookmarkAtAddress:withName:withReply:", {"begin", "start here"}),
            "Set a bookmark at 0x1350.");
  sample_.ask("setBookmarkAtAddress:withName:withReply:", {"0x2f8", ""});
  EXPECT_EQ(json("bookmarkListWithReply:"),
            R"([{"address":"0x2f8"},{"address":"0x1350","name":"start here"}])");
  EXPECT_EQ(sample_.text("unsetBookmarkAtAddress:withReply:", {"begin"}), "Removed the bookmark at 0x1350.");
  EXPECT_EQ(json("bookmarkListWithReply:"), R"([{"address":"0x2f8"}])");
  EXPECT_EQ(sample_.failure("unsetBookmarkAtAddress:withReply:", {"begin"}),
            "There is no bookmark at 0x1350.");
}

TEST_F(Requests, GoToLabelsOfBlocks) {
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"loc_1373"}), "The current address is 0x1373.");
  EXPECT_EQ(
      sample_.failure("gotoAddress:withReply:", {"loc_1374"}),
      R"("loc_1374" is neither a hexadecimal address nor a label of the document "sample_x86_64.elf".)");
}

TEST_F(Requests, PreferALabelToTheNumberThatItCouldBe) {
  sample_.ask("setNameOfAddress:to:withReply:", {"0x1390", "1310"});
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"1310"}), "0x1390");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"0x1310"}), "0x1310");
}

TEST_F(Requests, FailToMakePseudoCode) {
  EXPECT_EQ(sample_.failure("pseudoCodeOfProcedure:withReply:", {"twice"}),
            R"(There is no pseudo-code of "twice": the development host has no decompiler.)");
  EXPECT_EQ(sample_.failure("pseudoCodeOfProcedure:withReply:", {""}),
            R"(There is no pseudo-code of "begin": the development host has no decompiler.)");
}

TEST_F(Requests, NameTheWrongAddressInEveryFailure) {
  const QString outside = R"(The address "0x9999" is not part of the document "sample_x86_64.elf".)";
  const QString unknown =
      R"("no such" is neither a hexadecimal address nor a label of the document "sample_x86_64.elf".)";
  for (const char* selector :
       {"gotoAddress:withReply:", "referencesToAddress:withReply:", "commentAtAddress:withReply:",
        "inlineCommentAtAddress:withReply:", "nextAddress:withReply:", "prevAddress:withReply:",
        "nameOfAddress:withReply:", "unsetBookmarkAtAddress:withReply:"}) {
    EXPECT_EQ(sample_.failure(selector, {"0x9999"}), outside) << selector;
    EXPECT_EQ(sample_.failure(selector, {"no such"}), unknown) << selector;
  }
  for (const char* selector : {"setComment:atAddress:withReply:", "setInlineComment:atAddress:withReply:"}) {
    EXPECT_EQ(sample_.failure(selector, {"text", "0x9999"}), outside) << selector;
  }
  for (const char* selector :
       {"setNameOfAddress:to:withReply:", "setBookmarkAtAddress:withName:withReply:"}) {
    EXPECT_EQ(sample_.failure(selector, {"0x9999", "text"}), outside) << selector;
  }
  EXPECT_EQ(sample_.failure("gotoAddress:withReply:", {"-1"}),
            R"("-1" is neither a hexadecimal address nor a label of the document "sample_x86_64.elf".)");
  EXPECT_EQ(sample_.failure("gotoAddress:withReply:", {"0x11111111111111111"}),
            R"("0x11111111111111111" is neither a hexadecimal address nor a label of the document )"
            R"("sample_x86_64.elf".)");
}

TEST_F(Requests, NameTheWrongProcedureInEveryFailure) {
  for (const char* selector : {"infoOfProcedure:withReply:", "addressOfProcedure:withReply:",
                               "asmOfProcedure:withReply:", "pseudoCodeOfProcedure:withReply:",
                               "callersOfProcedure:withReply:", "calleesOfProcedure:withReply:"}) {
    for (const char* wrong : {"no such", "0x9999", "0x2f8", "counter"}) {
      EXPECT_EQ(
          sample_.failure(selector, {wrong}),
          QStringLiteral(R"(There is no procedure "%1" in the document "sample_x86_64.elf".)").arg(wrong))
          << selector;
    }
  }
  sample_.ask("gotoAddress:withReply:", {"0x2f8"});
  EXPECT_EQ(sample_.failure("currentProcedureWithReply:"),
            "The current address 0x2f8 is not part of a procedure.");
  EXPECT_EQ(sample_.failure("asmOfProcedure:withReply:", {""}),
            "The current address 0x2f8 is not part of a procedure.");
}

TEST_F(Requests, NameTheWrongPatternDocumentOrName) {
  for (const char* selector : {"searchStringUsingPattern:caseSensitive:withReply:",
                               "searchProcedureUsingPattern:caseSensitive:withReply:",
                               "searchNameUsingPattern:caseSensitive:withReply:"}) {
    EXPECT_EQ(sample_.failure(selector, {"a(b", false}),
              R"("a(b" is not a regular expression: missing closing parenthesis.)")
        << selector;
  }
  EXPECT_EQ(sample_.failure("setCurrentDocument:withReply:", {"other"}), R"(There is no document "other".)");
  EXPECT_EQ(sample_.failure("setCurrentDocument:withReply:", {""}), R"(There is no document "".)");
  EXPECT_EQ(sample_.failure("setNameOfAddress:to:withReply:", {"twice", "a\nb"}),
            "\"a\nb\" cannot be a name: it has a control character.");
}

TEST(Locals, AreNamedAfterTheirDistanceFromTheFramePointer) {
  OpenedDocuments documents;
  documents.open(testDataPath("sample_x86_64.dylib"));
  EXPECT_EQ(jsonText(documents.ask("infoOfProcedure:withReply:", {"_twice"}).toObject()["locals"]),
            R"([{"displacement":-28,"name":"var_1c"},{"displacement":-24,"name":"var_18"},)"
            R"({"displacement":-20,"name":"var_14"},{"displacement":-16,"name":"var_10"}])");
}

TEST(Documents, OfOneNameAreToldApartAndKeepTheirOwnState) {
  const TestFolder folder;
  const char* const second = "sample_x86_64.elf (2)";
  OpenedDocuments documents;
  documents.open(testDataPath("sample_x86_64.elf"));
  documents.open(folder.write("sample_x86_64.elf", readFile(testDataPath("sample_arm64.elf"))));
  EXPECT_EQ(documents.ask("documentListWithReply:").toArray(), (QJsonArray{"sample_x86_64.elf", second}));
  EXPECT_EQ(documents.text("currentDocumentWithReply:"), "sample_x86_64.elf");
  documents.ask("setNameOfAddress:to:withReply:", {"twice", "doubled"});
  documents.ask("gotoAddress:withReply:", {"doubled"});
  EXPECT_EQ(documents.text("setCurrentDocument:withReply:", {second}),
            "The current document is \"sample_x86_64.elf (2)\".");
  EXPECT_EQ(documents.text("currentDocumentWithReply:"), second);
  EXPECT_EQ(documents.text("currentAddressWithReply:"), "0x1035c");
  EXPECT_EQ(documents.text("addressOfProcedure:withReply:", {"twice"}), "0x1030c");
  documents.ask("setCurrentDocument:withReply:", {"sample_x86_64.elf"});
  EXPECT_EQ(documents.text("currentAddressWithReply:"), "0x1310");
  EXPECT_EQ(documents.text("currentProcedureWithReply:"), "doubled");
}

}  // namespace
