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
  std::string answerOf(const std::string& script) {
    std::string error;
    const std::unique_ptr<ServerSession> session =
        ServerSession::start(scriptedServer(folder_.path(), script), ServerChild::Diagnostics::kPiped, error);
    EXPECT_NE(session, nullptr) << error;
    const std::optional<ServerSession::Json> reply = session->ask("method", {}, kLongEnoughMs, error);
    return reply ? reply->dump() : error;
  }

  const TemporaryFolder folder_;
};

TEST_F(ServerSessionTest, TakesInWhatTheServerSaysOnStandardErrorBeforeItReplies) {
  EXPECT_EQ(answerOf("head -c 200000 /dev/zero >&2; read line; echo '{\"id\": 1}'"), "{\"id\":1}")
      << "more than the pipe holds";
}

TEST_F(ServerSessionTest, PassesOnTheLastWordsOfAServerThatHasEnded) {
  EXPECT_EQ(answerOf("trap '' TERM; exec >&-; echo last words >&2; exit 3"),
            "the server ended with exit status 3: last words");
}

}  // namespace
