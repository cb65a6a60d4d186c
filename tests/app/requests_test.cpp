// What each tool asks the host, byte for byte: the rows of requests.tsv.

#include "support/host_replies.h"
#include "support/replies.h"
#include "support/server_with_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

namespace {

struct Row {
  std::string tool;
  std::string arguments;
  std::string request;
};

std::vector<Row> readRows() {
  std::ifstream file(ORVANE_SOURCE_DIR "/tests/app/requests.tsv");
  std::vector<Row> rows;
  std::string line;
  while (std::getline(file, line)) {
    if (line.starts_with('#')) continue;
    std::istringstream cells(line);
    Row row;
    std::getline(cells, row.tool, '\t');
    std::getline(cells, row.arguments, '\t');
    std::getline(cells, row.request, '\t');
    rows.push_back(row);
  }
  return rows;
}

class Requests : public ServerWithHost {};
class Replies : public ServerWithHost {};

TEST_F(Requests, AreSentByteForByteAsListedForEveryTool) {
  int id = 0;
  for (const Row& row : readRows()) {
    SCOPED_TRACE(row.tool + " " + row.arguments);
    EXPECT_EQ(call(++id, row.tool, row.arguments), row.request);
    host_.reply(success("done"));
    EXPECT_EQ(server_.readLine(), textReply(id, "done"));
  }
}

TEST_F(Requests, AreListedForAll34Tools) {
  std::set<std::string> tools;
  for (const Row& row : readRows()) tools.insert(row.tool);
  EXPECT_EQ(tools.size(), 34U);
}

TEST_F(Requests, WithoutArgumentsMemberOrWithOneThatIsNoObjectSendTheDefaults) {
  for (const char* const params :
       {R"({"name":"comment"})", R"({"name":"comment","arguments":null})",
        R"({"name":"comment","arguments":["0x1"]})", R"({"name":"comment","arguments":"0x1"})"}) {
    SCOPED_TRACE(params);
    server_.writeLine(R"({"id":1,"method":"tools/call","params":)" + std::string(params) + "}");
    EXPECT_EQ(host_.readLine(), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
    host_.reply(success("done"));
    EXPECT_EQ(server_.readLine(), textReply(1, "done"));
  }
}

TEST_F(Replies, KeepAddressesOf64BitsWhenTheyAreTextAndSortTheMembersOfObjects) {
  server_.writeLine(R"({"id":18446744073709551615,"method":"tools/call","params":{"name":"list_names"}})");
  host_.readLine();
  host_.reply(R"({"success":true,"result":{"0xffffffffffffffff":"top","0x10":"a\nb"}})");
  EXPECT_EQ(server_.readLine(),
            textReply("18446744073709551615", R"({\"0x10\": \"a\\nb\", \"0xffffffffffffffff\": \"top\"})"));
}

TEST_F(Replies, OfAHostThatFailsAreErrorsWithItsSentence) {
  server_.writeLine(R"({"id":"a","method":"tools/call","params":{"name":"goto_address"}})");
  host_.readLine();
  host_.reply(R"({"success":false,"error":"There is no \"x\" – sorry.","result":"ignored"})");
  EXPECT_EQ(server_.readLine(), toolErrorReply("\"a\"", R"(There is no \"x\" – sorry.)"));
}

}  // namespace
