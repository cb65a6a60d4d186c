// What only some formats say, on the small executables of tests/devhost/data.

#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <gtest/gtest.h>

namespace {

std::string proceduresOf(const char* file) {
  OpenedDocuments documents;
  documents.open(testDataPath(file));
  return jsonText(documents.ask("procedureListWithReply:"));
}

TEST(FunctionTableOfPe, TellsProceduresThatNothingLeadsTo) {
  EXPECT_EQ(proceduresOf("sample_pdata.exe"),
            R"({"0x140001000":"sub_140001000","0x140001040":"begin","0x140001090":"sub_140001090"})");
  EXPECT_EQ(proceduresOf("sample_arm64.exe"),
            R"({"0x140001000":"sub_140001000","0x140001054":"begin","0x1400010a8":"sub_1400010a8"})");
}

TEST(UniversalFile, IsOpenedForItsLastProcessor) {
  EXPECT_EQ(proceduresOf("sample_universal.dylib"), proceduresOf("sample_arm64.dylib"));
}

TEST(FileWithChainedFixups, TellsWhatDataRefersTo) {
  OpenedDocuments documents;
  documents.open(testDataPath("sample_chained_fixups.dylib"));
  const auto referencesTo = [&](const char* address) {
    return jsonText(documents.ask("referencesToAddress:withReply:", {address}));
  };
  EXPECT_EQ(jsonText(documents.ask("stringListWithReply:")),
            R"({"0x4aa":"first text","0x4b5":"second text"})");
  EXPECT_EQ(referencesTo("0x4aa"), R"(["0x1010"])");
  EXPECT_EQ(referencesTo("0x4b5"), R"(["0x1018"])");
  EXPECT_EQ(referencesTo("_once"), R"(["0x1020"])");
  EXPECT_EQ(referencesTo("_twice"), R"(["0x1028"])");
}

TEST(FileWithChainedFixups, NamesImportsByTheirCellsAndStubs) {
  OpenedDocuments documents;
  documents.open(testDataPath("sample_chained_fixups.dylib"));
  EXPECT_EQ(documents.text("nameOfAddress:withReply:", {"0x1000"}), "imp__imported");
  EXPECT_EQ(jsonText(documents.ask("calleesOfProcedure:withReply:", {"_begin"})), R"(["_imported"])");
}

}  // namespace
