#include "devhost/opened_documents.h"

#include <gtest/gtest.h>

namespace {

TEST(OwnProcedure, ThatReturnsIsNotTakenForTheLibrarysOfItsName) {
  OpenedDocuments documents;
  documents.open(QStringLiteral(ORVANE_TEST_PROGRAMS "/own_err"));
  const QJsonObject main = documents.ask("infoOfProcedure:withReply:", {"main"}).toObject();
  EXPECT_EQ(main["basicblock_count"], 1);
  EXPECT_TRUE(documents.ask("calleesOfProcedure:withReply:", {"main"}).toArray().contains("puts"));
}

}  // namespace
