// The whole chain: the built server as its client holds it, and the development host that it asks.

#include "devhost/code/other_tools.h"
#include "devhost/devhost_process.h"
#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"
#include "support/server_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace {

/// A conversation with the built server, as its client holds it.
class Conversation {
 public:
  explicit Conversation(const QString& socketFolder)
      : server_({.socketFolder = socketFolder.toStdString()}) {}

  /// The reply to a tool call, whole.
  QJsonObject reply(const char* tool, const QJsonObject& arguments = {}) {
    const QJsonObject request{{"jsonrpc", "2.0"},
                              {"id", 1},
                              {"method", "tools/call"},
                              {"params", QJsonObject{{"name", tool}, {"arguments", arguments}}}};
    const std::string line = server_.ask(jsonText(request));
    return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
  }

  /// The text of a call's result.
  QByteArray text(const char* tool, const QJsonObject& arguments = {}) {
    return reply(tool, arguments)["result"][u"content"][0][u"text"].toString().toUtf8();
  }

  /// The JSON that is the text of a call's result: an array or an object.
  QJsonValue value(const char* tool, const QJsonObject& arguments = {}) {
    const QJsonDocument document = QJsonDocument::fromJson(text(tool, arguments));
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
  }

 private:
  ServerProcess server_;
};

TEST(Server, TalksAboutAProgramThatTheHostHasOpened) {
  using Names = std::set<std::string>;
  const TestFolder folder;
  const QString program = QStringLiteral(ORVANE_TEST_PROGRAMS "/plain");
  DevhostProcess host(folder.path());
  ASSERT_NE(host.startAndWait({program}), QString());
  Conversation server(folder.path());
  const auto functions = functionsOf(program);
  const auto found =
      std::ranges::find_if(functions, [](const auto& entry) { return entry.second.names.contains("twice"); });
  ASSERT_NE(found, functions.end());
  const auto& [twice, function] = *found;
  const QString twiceText = hexAddress(twice);

  EXPECT_EQ(server.value("list_documents"), QJsonArray{"plain"});
  EXPECT_EQ(server.value("search_procedures", {{"pattern", "^twice$"}, {"case_sensitive", true}}),
            (QJsonObject{{twiceText, "twice"}}));
  EXPECT_EQ(listedIn(server.text("procedure_assembly", {{"procedure", "twice"}})),
            instructionsOf(program, twice, twice + function.size));
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "twice"}})), (Names{"choose", "main"}));
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "hidden"}})), Names{"twice"});

  const QJsonObject text =
      server.value("search_strings", {{"pattern", "^two here$"}, {"case_sensitive", true}}).toObject();
  ASSERT_EQ(text.size(), 1);
  const QJsonArray users = server.value("xrefs", {{"address", text.begin().key()}}).toArray();
  ASSERT_EQ(users.size(), 1);
  server.text("goto_address", {{"address", users[0]}});
  EXPECT_EQ(server.text("current_procedure"), "choose");

  server.text("set_comment", {{"address", twiceText}, {"comment", "doubles \"it\""}});
  EXPECT_EQ(server.text("comment", {{"address", twiceText}}), "doubles \"it\"");
  server.text("set_address_name", {{"address", twiceText}, {"name", "two_times"}});
  EXPECT_EQ(server.text("address_name", {{"address", twiceText}}), "two_times");
  EXPECT_EQ(textsOf(server.value("procedure_callers", {{"procedure", "hidden"}})), Names{"two_times"});
  EXPECT_EQ(server.reply("procedure_info", {{"procedure", "no_such_name"}})["error"][u"code"], -32000);
}

}  // namespace
