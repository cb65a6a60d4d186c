#include "devhost/code/other_tools.h"
#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <gtest/gtest.h>

namespace {

TEST(Signatures, AreWhatMangledNamesTell) {
  const TestFolder folder;
  const QString source =
      folder.write("source.cpp",
                   "namespace shop { struct Basket { int add(const char*, unsigned long); }; }\n"
                   "int shop::Basket::add(const char* what, unsigned long n) { return *what + int(n); }\n"
                   "extern \"C\" int plain(int n) { return n; }\n");
  const QString library = folder.path("library");
  outputOf(QStringLiteral(ORVANE_TEST_COMPILER " -shared -fPIC -nostdlib %1 -o %2")
               .arg(inQuotes(source), inQuotes(library)));
  OpenedDocuments documents;
  documents.open(library);
  const auto info = [&](const char* name) {
    return documents.ask("infoOfProcedure:withReply:", {name}).toObject();
  };
  EXPECT_EQ(info("_ZN4shop6Basket3addEPKcm")["signature"], "shop::Basket::add(char const*, unsigned long)");
  EXPECT_FALSE(info("plain").contains("signature"));
}

}  // namespace
