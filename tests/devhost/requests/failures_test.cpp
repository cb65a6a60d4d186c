// Requests that fail, and the sentence that says why.

#include "devhost/requests/requests_on_sample.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

/// A 64-bit ELF file without sections, whose last segment holds `text` besides.
QByteArray appendedToLastSegment(QByteArray bytes, const QByteArray& text) {
  constexpr qsizetype kSectionHeadersOffset = 0x28;
  constexpr qsizetype kSegmentCount = 0x38;
  constexpr qsizetype kSectionCount = 0x3c;
  constexpr qsizetype kSegments = 0x40;
  constexpr qsizetype kSegmentHeaderSize = 0x38;
  const auto at = [&](qsizetype offset) { return bytes.data() + offset; };
  qToLittleEndian<std::uint64_t>(0, at(kSectionHeadersOffset));
  qToLittleEndian<std::uint16_t>(0, at(kSectionCount));
  qsizetype last = 0;
  for (int i = 0; i < qFromLittleEndian<std::uint16_t>(at(kSegmentCount)); ++i) {
    const qsizetype header = kSegments + i * kSegmentHeaderSize;
    if (qFromLittleEndian<std::uint32_t>(at(header)) == 1) last = header;
  }
  const auto offset = qFromLittleEndian<std::uint64_t>(at(last + 0x08));
  bytes += text;
  const std::uint64_t size = static_cast<std::uint64_t>(bytes.size()) - offset;
  qToLittleEndian<std::uint64_t>(size, bytes.data() + last + 0x20);
  qToLittleEndian<std::uint64_t>(size, bytes.data() + last + 0x28);
  return bytes;
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

TEST_F(Requests, TakeNothingForAnAddressThatOnlyLooksLikeOne) {
  for (const char* text : {"0x0x1310", " 1310 ", "0x 1310", "0x+1310", "1310h", "0x"}) {
    EXPECT_EQ(
        sample_.failure("gotoAddress:withReply:", {text}),
        QStringLiteral(
            "\"%1\" is neither a hexadecimal address nor a label of the document \"sample_x86_64.elf\".")
            .arg(text));
  }
}

TEST(Search, SaysThatItGaveUp) {
  const TestFolder folder;
  OpenedDocuments documents;
  QByteArray bytes = readFile(testDataPath("sample_x86_64.elf"));
  // A long string at the end of the file, where the last segment is made to reach.
  const QByteArray text = QByteArray(600000, 'a') + "needle";
  documents.open(folder.write("long", appendedToLastSegment(bytes, text)));
  const QString pattern = "(?:a|b)*needle";
  EXPECT_TRUE(documents.failure("searchStringUsingPattern:caseSensitive:withReply:", {pattern, true})
                  .startsWith("Matching \"(?:a|b)*needle\" takes more work than one text may, at 0x"));
}

}  // namespace
