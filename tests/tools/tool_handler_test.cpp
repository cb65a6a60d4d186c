#include "tools/tool_handler.h"

#include "support/temporary_folder.h"
#include "tools/catalogue.h"

#include <gtest/gtest.h>

namespace {

using json11::Json;

TEST(ResultFromText, OfANullTextIsNull) {
  EXPECT_EQ(resultFromText(QString()), Json());
}

TEST(ResultFromText, OfAnEmptyTextIsTheEmptyString) {
  EXPECT_EQ(resultFromText(QString("")).type(), Json::Type::String);
  EXPECT_EQ(resultFromText(QString("")).stringValue(), "");
}

TEST(ResultFromText, ThatBeginsLikeJsonIsParsed) {
  EXPECT_EQ(resultFromText("{\"b\":1,\"a\":[]}").dump(), R"({"a": [], "b": 1})");
  EXPECT_EQ(resultFromText("[1, 2] ").dump(), "[1, 2]");
}

TEST(ResultFromText, ThatBeginsLikeJsonButIsNoneIsNull) {
  EXPECT_EQ(resultFromText("[see below]"), Json());
  EXPECT_EQ(resultFromText("{"), Json());
  EXPECT_EQ(resultFromText("{} // comment"), Json());
}

TEST(ResultFromText, OfAnyOtherKindIsThatText) {
  for (const char* const text :
       {"0x401000", " {}", "\"quoted\"", "12", "null", "true", ";{", "\n[", "é – €", "|x"}) {
    EXPECT_EQ(resultFromText(QString::fromUtf8(text)), Json(text));
  }
  EXPECT_EQ(resultFromText(QString::fromUtf16(u"\x015b\x017b")), Json("śŻ")) << "not mistaken for brackets";
  EXPECT_EQ(resultFromText(QString::fromUtf8("a\0b", 3)), Json(std::string("a\0b", 3)));
}

TEST(Handler, WithoutAHostAnswersWithTheEmptyStringAndNoError) {
  const TemporaryFolder folder;
  qputenv("TMPDIR", folder.path().c_str());
  IPCClient host;
  for (const CatalogueEntry& entry : catalogue()) {
    std::string error = "before";
    const Json result = makeHandler(entry, &host)(Json::object{}, error);
    EXPECT_EQ(result, Json("")) << entry.name;
    EXPECT_EQ(error, "") << entry.name;
  }
}

}  // namespace
