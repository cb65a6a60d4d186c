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

}  // namespace
