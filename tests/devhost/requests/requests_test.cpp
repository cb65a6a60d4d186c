// What each request answers, on data/sample_x86_64.elf.

#include "devhost/requests/requests_on_sample.h"

#include <gtest/gtest.h>

#include <string>

namespace {

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
            "; procedure twice\n"
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
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {""}).startsWith("; procedure quietly\nquietly:\n"));
  EXPECT_EQ(json("callersOfProcedure:withReply:", {""}), R"(["begin"])");
  EXPECT_EQ(json("calleesOfProcedure:withReply:", {""}), R"(["twice"])");
}

TEST_F(Requests, GoToLabelsOfBlocks) {
  EXPECT_EQ(sample_.text("gotoAddress:withReply:", {"loc_1373"}), "The current address is 0x1373.");
  EXPECT_EQ(
      sample_.failure("gotoAddress:withReply:", {"loc_1374"}),
      R"("loc_1374" is neither a hexadecimal address nor a label of the document "sample_x86_64.elf".)");
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
