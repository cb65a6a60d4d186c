// What each tool asks the host, byte for byte: the rows of requests.tsv.

#include "app/host_fault.h"
#include "support/scripted_host.h"
#include "support/server_process.h"
#include "support/temporary_folder.h"

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

TEST(Requests, AreSentByteForByteAsListedForEveryTool) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  int id = 0;
  for (const Row& row : readRows()) {
    SCOPED_TRACE(row.tool + " " + row.arguments);
    server.writeLine(R"({"jsonrpc":"2.0","id":)" + std::to_string(++id) +
                     R"(,"method":"tools/call","params":{"name":")" + row.tool + R"(","arguments":)" +
                     row.arguments + "}}");
    EXPECT_EQ(host.readLine(), row.request);
    host.reply(R"({"success":true,"result":"done"})");
    EXPECT_EQ(server.readLine(), replyLine(id, "done"));
  }
}

TEST(Requests, AreListedForAll34Tools) {
  std::set<std::string> tools;
  for (const Row& row : readRows()) tools.insert(row.tool);
  EXPECT_EQ(tools.size(), 34U);
}

TEST(Requests, WithoutArgumentsMemberOrWithOneThatIsNoObjectSendTheDefaults) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  for (const char* const params :
       {R"({"name":"comment"})", R"({"name":"comment","arguments":null})",
        R"({"name":"comment","arguments":["0x1"]})", R"({"name":"comment","arguments":"0x1"})"}) {
    SCOPED_TRACE(params);
    server.writeLine(R"({"id":1,"method":"tools/call","params":)" + std::string(params) + "}");
    EXPECT_EQ(host.readLine(), R"({"args":[""],"request":"commentAtAddress:withReply:"})");
    host.reply(R"({"success":true,"result":"done"})");
    EXPECT_EQ(server.readLine(), replyLine(1, "done"));
  }
}

TEST(Replies, KeepAddressesOf64BitsWhenTheyAreTextAndSortTheMembersOfObjects) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(R"({"id":18446744073709551615,"method":"tools/call","params":{"name":"list_names"}})");
  host.readLine();
  host.reply(R"({"success":true,"result":{"0xffffffffffffffff":"top","0x10":"a\nb"}})");
  EXPECT_EQ(server.readLine(),
            R"({"id": 18446744073709551615, "jsonrpc": "2.0", "result": {"content": [{"text": )"
            R"("{\"0x10\": \"a\\nb\", \"0xffffffffffffffff\": \"top\"}", "type": "text"}]}})");
}

TEST(Replies, OfAHostThatFailsAreErrorsWithItsSentence) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  server.writeLine(R"({"id":"a","method":"tools/call","params":{"name":"goto_address"}})");
  host.readLine();
  host.reply(R"({"success":false,"error":"There is no \"x\" – sorry.","result":"ignored"})");
  EXPECT_EQ(
      server.readLine(),
      R"({"error": {"code": -32000, "message": "There is no \"x\" – sorry."}, "id": "a", "jsonrpc": "2.0"})");
}

}  // namespace
