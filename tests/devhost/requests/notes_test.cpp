// Comments and bookmarks.

#include "devhost/requests/requests_on_sample.h"

#include <gtest/gtest.h>

namespace {

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

TEST_F(Requests, ShowACommentInTheMiddleOfAnInstructionAtThatInstruction) {
  EXPECT_EQ(sample_.text("setComment:atAddress:withReply:", {"above", "0x1312"}),
            "Set the comment at 0x1311.");
  EXPECT_EQ(sample_.text("setInlineComment:atAddress:withReply:", {"beside", "0x1313"}),
            "Set the inline comment at 0x1311.");
  EXPECT_TRUE(sample_.text("asmOfProcedure:withReply:", {"twice"})
                  .contains("; above\n0x1311    sub       rsp, 0x10    ; beside\n"));
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {"0x1314"}), "above");
  EXPECT_EQ(sample_.text("inlineCommentAtAddress:withReply:", {"0x1311"}), "beside");
}

TEST_F(Requests, RefuseCommentsThatWouldBeReadAsJson) {
  for (const char* text : {"[see also twice", "{", "[1]"}) {
    const QString rest =
        QStringLiteral(" cannot begin with \"%1\": it would be read as JSON and be lost.").arg(text[0]);
    EXPECT_EQ(sample_.failure("setComment:atAddress:withReply:", {text, "twice"}), "The comment" + rest);
    EXPECT_EQ(sample_.failure("setInlineComment:atAddress:withReply:", {text, "twice"}),
              "The inline comment" + rest);
  }
  EXPECT_EQ(sample_.text("commentAtAddress:withReply:", {"twice"}), "");
  EXPECT_EQ(sample_.text("setComment:atAddress:withReply:", {"see [1]", "twice"}),
            "Set the comment at 0x1310.");
}

}  // namespace
