#include "companion/session/server_session.h"

#include "companion/session/scripted_server.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace {

constexpr int kLongEnoughMs = 60000;

class ServerSessionTest : public testing::Test {
 protected:
  /// Asks a server that is this shell script. Its reply, or why there is none.
  std::string answerOf(const std::string& script, const ServerSession::Json& params = {},
                       int limitMs = kLongEnoughMs) {
    std::string error;
    const std::unique_ptr<ServerSession> session =
        ServerSession::start(scriptedServer(folder_.path(), script), ServerChild::Diagnostics::kPiped, error);
    EXPECT_NE(session, nullptr) << error;
    const std::optional<ServerSession::Json> reply = session->ask("method", params, limitMs, error);
    return reply ? reply->dump() : error;
  }

  const TemporaryFolder folder_;
};

TEST_F(ServerSessionTest, SendsARequestAsTheProtocolHasIt) {
  EXPECT_EQ(answerOf("read -r line; printf '%s\\n' \"$line\"", {{"key", "\xC3\xA9"}}),
            "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"method\",\"params\":{\"key\":\"\xC3\xA9\"}}")
      << "the request comes back as its reply";
}

TEST_F(ServerSessionTest, TakesAReplyOfAServerThatTakesNoRequest) {
  const std::string text(1'000'000, 'x');  // more than the pipe holds
  EXPECT_EQ(answerOf("exec <&-; echo '{\"id\": 1}'; exec sleep 1000", {{"text", text}}), R"({"id":1})");
}

TEST_F(ServerSessionTest, GivesUpAfterItsLimit) {
  EXPECT_EQ(answerOf("exec sleep 1000", {}, 1000), "no reply within 1 seconds");
}

TEST_F(ServerSessionTest, TakesNothingButAnObjectForAReply) {
  EXPECT_EQ(answerOf("read line; echo 5"), "the reply is not a JSON object");
  EXPECT_EQ(answerOf("read line; echo '{'"), "the reply is not a JSON object");
}

TEST_F(ServerSessionTest, TellsHowAServerHasEnded) {
  EXPECT_EQ(answerOf("exit 0"), "the server ended with exit status 0");
  EXPECT_EQ(answerOf("kill -9 $$"), "the server ended by a signal (Killed)");
}

TEST_F(ServerSessionTest, TakesInWhatTheServerSaysOnStandardErrorBeforeItReplies) {
  EXPECT_EQ(answerOf("head -c 200000 /dev/zero >&2; read line; echo '{\"id\": 1}'"), "{\"id\":1}")
      << "more than the pipe holds";
}

TEST_F(ServerSessionTest, PassesOnTheLastWordsOfAServerThatHasEnded) {
  EXPECT_EQ(answerOf("trap '' TERM; exec >&-; echo last words >&2; exit 3"),
            "the server ended with exit status 3: last words");
}

}  // namespace
