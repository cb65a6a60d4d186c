// Requests that fail, and the sentence that says why.

#include "devhost/requests/requests_on_sample.h"

#include <gtest/gtest.h>

namespace {

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

}  // namespace
