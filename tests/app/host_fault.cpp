#include "app/host_fault.h"

#include "support/server_process.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kNextRequest = R"({"args":[""],"request":"nameOfAddress:withReply:"})";
constexpr const char* kUnknownMethodReply =
    R"({"error": {"code": -32601, "data": "ping", "message": "Method not found"}, "id": 3, "jsonrpc": "2.0"})";

std::string callLine(int id, const std::string& params) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":"tools/call","params":)" + params +
         "}";
}

}  // namespace

const std::vector<ShapeCall>& shapeCalls() {
  static const std::vector<ShapeCall> calls = {
      {"NoArgument", R"({"name":"list_documents"})", R"({"args":[],"request":"documentListWithReply:"})"},
      {"OneString", R"({"name":"comment","arguments":{"address":"0x10"}})",
       R"({"args":["0x10"],"request":"commentAtAddress:withReply:"})"},
      {"PatternSearch", R"({"name":"search_strings","arguments":{"pattern":"a","case_sensitive":true}})",
       R"({"args":["a",true],"request":"searchStringUsingPattern:caseSensitive:withReply:"})"},
      {"TwoStrings", R"({"name":"set_comment","arguments":{"address":"0x10","comment":"c"}})",
       R"({"args":["c","0x10"],"request":"setComment:atAddress:withReply:"})"},
      {"AddressNameMap", R"({"name":"set_addresses_names","arguments":{"names":{"0x10":"n"}}})",
       R"({"args":[{"0x10":"n"}],"request":"setNamesOfAddresses:withReply:"})"},
  };
  return calls;
}

std::string replyLine(int id, const std::string& text) {
  return R"({"id": )" + std::to_string(id) + R"(, "jsonrpc": "2.0", "result": {"content": [{"text": ")" +
         text + R"(", "type": "text"}]}})";
}

void expectOutcome(const HostFault& fault, const ShapeCall& call) {
  const TemporaryFolder folder;
  ScriptedHost host(folder.socketPath());
  ServerProcess server({.socketFolder = folder.path()});
  host.accept();
  if (fault.beforeCall) fault.beforeCall(host);

  server.writeLine(callLine(1, call.call));
  if (fault.afterRequest) {
    EXPECT_EQ(host.readLine(), call.request);
    fault.afterRequest(host);
  }
  EXPECT_EQ(server.readLine(), replyLine(1, fault.text));

  server.writeLine(callLine(2, R"({"name":"address_name"})"));
  if (fault.afterRequest && host.isConnected()) {
    EXPECT_EQ(host.readLine(), kNextRequest);
    host.reply(R"({"success":true,"result":"next"})");
  }
  EXPECT_EQ(server.readLine(), replyLine(2, fault.nextText));

  EXPECT_EQ(server.ask(R"({"id":3,"method":"ping"})"), kUnknownMethodReply);
  EXPECT_TRUE(server.isAlive());
  EXPECT_EQ(server.diagnostics().find("stdout"), std::string::npos);
}
