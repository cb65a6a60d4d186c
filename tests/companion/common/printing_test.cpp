#include "companion/common/printing.h"

#include <gtest/gtest.h>

namespace {

TEST(Visible, ShowsControlBytesOfAscii) {
  EXPECT_EQ(visible("\x1b]0;title\a\x1b[2J\r\x7f"), "^[]0;title^G^[[2J^M^?");
  EXPECT_EQ(visible(std::string(1, '\0')), "^@");
}

TEST(Visible, ShowsControlCharactersAboveAscii) {
  EXPECT_EQ(visible("\xc2\x80\xc2\x9b"
                    "2J\xc2\x9f"),
            "<80><9B>2J<9F>");
}

TEST(Visible, ShowsBytesThatAreNotUtf8) {
  EXPECT_EQ(visible("a\x9b"
                    "b\xff\xc2"),
            "a<9B>b<FF><C2>");
  EXPECT_EQ(visible("\xe2\x82"), "<E2><82>");
  EXPECT_EQ(visible("\xc0\x9b"), "<C0><9B>");
}

TEST(Visible, KeepsEverythingElse) {
  const std::string text = "two\n\tlines ~ \xc2\xa0\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80";
  EXPECT_EQ(visible(text), text);
  EXPECT_EQ(visible(""), "");
}

}  // namespace
