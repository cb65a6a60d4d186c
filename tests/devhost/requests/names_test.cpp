// Names that users give.

#include "devhost/requests/requests_on_sample.h"

#include <gtest/gtest.h>

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

TEST_F(Requests, PreferALabelToTheNumberThatItCouldBe) {
  sample_.ask("setNameOfAddress:to:withReply:", {"0x1390", "1310"});
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"1310"}), "0x1390");
  EXPECT_EQ(sample_.text("addressOfProcedure:withReply:", {"0x1310"}), "0x1310");
}

}  // namespace
