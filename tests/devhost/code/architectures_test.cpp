// Every processor and file format, on the small executables of tests/devhost/data.

#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <QJsonArray>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

/// What is known about one sample. Where no symbol is left, procedures have their default names.
struct Sample {
  const char* file;
  const char* procedures;  ///< by address
  const char* twice;       ///< the name of the procedure that calls the import
  const char* callersOfTwice;
  const char* import;       ///< what it calls
  const char* text;         ///< address of "text of the sample"
  const char* userOfText;   ///< the instruction that forms it
  const char* counterUser;  ///< an instruction that reaches the variable, or the cell with its address
  const char* counter;
  const char* line;  ///< of the assembly of `twice`
};

constexpr Sample kSamples[] = {
    {.file = "sample_x86_64.elf",
     .procedures = R"({"0x1310":"twice","0x1350":"begin","0x1390":"quietly","0x13c0":"imported"})",
     .twice = "twice",
     .callersOfTwice = R"(["begin","quietly"])",
     .import = "imported",
     .text = "0x2f8",
     .userOfText = "0x1336",
     .counterUser = "0x1391",
     .counter = "imp_counter",
     .line = "0x133d    call      imported\n"},
    {.file = "sample_x86.elf",
     .procedures = R"({"0x1200":"twice","0x1250":"begin","0x12a0":"quietly","0x12e0":"imported"})",
     .twice = "twice",
     .callersOfTwice = R"(["begin","quietly"])",
     .import = "imported",
     .text = "0x1e4",
     .userOfText = "0x1238",
     .counterUser = "0x12b0",
     .counter = "imp_counter",
     .line = "0x1241    call      imported\n"},
    {.file = "sample_arm64.elf",
     .procedures = R"({"0x1030c":"twice","0x1035c":"begin","0x103bc":"quietly","0x10410":"imported"})",
     .twice = "twice",
     .callersOfTwice = R"(["begin","quietly"])",
     .import = "imported",
     .text = "0x2f8",
     .userOfText = "0x1032c",
     .counterUser = "0x103c8",
     .counter = "imp_counter",
     .line = "0x1032c    add       x0, x0, #0x2f8    ; \"text of the sample\"\n"},
    {.file = "sample_arm64_stripped.elf",
     .procedures = R"({"0x1030c":"sub_1030c","0x1035c":"begin","0x103bc":"sub_103bc","0x10410":"imported"})",
     .twice = "sub_1030c",
     .callersOfTwice = R"(["begin","sub_103bc"])",
     .import = "imported",
     .text = "0x2f8",
     .userOfText = "0x1032c",
     .counterUser = "0x103c8",
     .counter = "imp_counter",
     .line = "0x10344    bl        imported\n"},
    {.file = "sample_arm.elf",
     .procedures = R"({"0x10238":"twice","0x10280":"begin","0x102c8":"quietly","0x10310":"imported"})",
     .twice = "twice",
     .callersOfTwice = R"(["begin","quietly"])",
     .import = "imported",
     .text = "0x224",
     .userOfText = "0x10264",
     .counterUser = "0x102d0",
     .counter = "imp_counter",
     .line = "0x1026c    bl        imported\n"},
    {.file = "sample_thumb.elf",
     .procedures = R"({"0x10238":"twice","0x10260":"begin","0x10288":"quietly","0x102d0":"imported"})",
     .twice = "twice",
     .callersOfTwice = R"(["begin","quietly"])",
     .import = "imported",
     .text = "0x224",
     .userOfText = "0x1024e",
     .counterUser = "0x1028e",
     .counter = "imp_counter",
     .line = "0x10252    blx       imported\n"},
    {.file = "sample_x86_64.exe",
     .procedures = R"({"0x140001000":"sub_140001000","0x140001040":"begin","0x140001090":"sub_140001090"})",
     .twice = "sub_140001000",
     .callersOfTwice = R"(["begin","sub_140001090"])",
     .import = "imported",
     .text = "0x140002000",
     .userOfText = "0x140001028",
     .counterUser = "0x140001094",
     .counter = "counter",
     .line = "0x14000102f    call      qword ptr [imp_imported]\n"},
    {.file = "sample_x86_64.dylib",
     .procedures = R"({"0x4b0":"_twice","0x4f0":"_begin","0x540":"_quietly","0x554":"_imported"})",
     .twice = "_twice",
     .callersOfTwice = R"(["_begin","_quietly"])",
     .import = "_imported",
     .text = "0x576",
     .userOfText = "0x4d6",
     .counterUser = "0x544",
     .counter = "_counter",
     .line = "0x4dd    call      _imported\n"},
    {.file = "sample_arm64.dylib",
     .procedures = R"({"0x4c0":"_twice","0x510":"_begin","0x570":"_quietly","0x598":"_imported"})",
     .twice = "_twice",
     .callersOfTwice = R"(["_begin","_quietly"])",
     .import = "_imported",
     .text = "0x5c8",
     .userOfText = "0x4f4",
     .counterUser = "0x57c",
     .counter = "_counter",
     .line = "0x4f8    bl        _imported\n"},
};

class SampleExecutable : public testing::TestWithParam<Sample> {
 protected:
  void SetUp() override { documents_.open(testDataPath(GetParam().file)); }

  OpenedDocuments documents_;
};

TEST_P(SampleExecutable, HasItsProceduresAndTheStubOfItsImport) {
  EXPECT_EQ(jsonText(documents_.ask("procedureListWithReply:")), GetParam().procedures);
}

TEST_P(SampleExecutable, KnowsCallersAndCallees) {
  EXPECT_EQ(jsonText(documents_.ask("callersOfProcedure:withReply:", {GetParam().twice})),
            GetParam().callersOfTwice);
  EXPECT_EQ(documents_.ask("calleesOfProcedure:withReply:", {GetParam().twice}).toArray(),
            QJsonArray{GetParam().import});
}

TEST_P(SampleExecutable, KnowsWhichInstructionFormsTheAddressOfAString) {
  EXPECT_EQ(
      documents_.ask("searchStringUsingPattern:caseSensitive:withReply:", {"^text of", true}).toObject(),
      (QJsonObject{{GetParam().text, "text of the sample"}}));
  EXPECT_EQ(documents_.ask("referencesToAddress:withReply:", {GetParam().text}).toArray(),
            QJsonArray{GetParam().userOfText});
}

TEST_P(SampleExecutable, KnowsWhichInstructionsReachAVariable) {
  EXPECT_TRUE(documents_.ask("referencesToAddress:withReply:", {GetParam().counter})
                  .toArray()
                  .contains(GetParam().counterUser))
      << jsonText(documents_.ask("referencesToAddress:withReply:", {GetParam().counter}));
}

TEST_P(SampleExecutable, ShowsNamesInItsAssembly) {
  const std::string listing = documents_.text("asmOfProcedure:withReply:", {GetParam().twice}).toStdString();
  EXPECT_NE(listing.find(GetParam().line), std::string::npos) << listing;
}

std::string nameOfTest(const testing::TestParamInfo<Sample>& sample) {
  std::string name = sample.param.file;
  std::ranges::replace(name, '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Samples, SampleExecutable, testing::ValuesIn(kSamples), nameOfTest);

}  // namespace
