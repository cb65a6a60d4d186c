// The run loop on real descriptors.

#include "server/mcp_server.h"
#include "server/messages.h"
#include "server/stdio_transport.h"
#include "support/stdio_pipes.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct Served {
  int result = -1;
  std::string replies;
  std::string diagnostics;
  std::string left;
};

/// Runs the loop on a pipe that receives the pieces, each in one write, and then ends.
Served served(const std::vector<std::string>& pieces) {
  Served served;
  McpServer server;
  StdioPipes pipes;
  std::thread client([&pipes, &pieces] {
    for (const std::string& piece : pieces) pipes.input.write(piece);
    pipes.input.end();
  });
  served.result = run(server);
  client.join();
  served.replies = pipes.output.text();
  served.diagnostics = pipes.diagnostics.text();
  served.left = server.inputBuffer;
  return served;
}

TEST(Run, AnswersEveryLineInOrderUntilInputEnds) {
  std::string input;
  std::string replies;
  for (int id = 1; id <= 500; ++id) {
    input += ping(id) + (id % 3 == 0 ? "\r\n" : "\n");
    replies += pong(id);
  }
  const Served result = served({input});
  EXPECT_EQ(result.result, 0);
  EXPECT_EQ(result.replies, replies);
  EXPECT_EQ(result.diagnostics, "");
}

TEST(Run, ReturnsAtOnceWhenThereIsNoInput) {
  const Served result = served({});
  EXPECT_EQ(result.result, 0);
  EXPECT_EQ(result.replies, "");
  EXPECT_EQ(result.diagnostics, "");
}

TEST(Run, DropsALastLineWithoutLineFeed) {
  const Served result = served({ping(1) + "\n" + ping(2)});
  EXPECT_EQ(result.result, 0);
  EXPECT_EQ(result.replies, pong(1));
  EXPECT_EQ(result.left, ping(2));
}

TEST(Run, GivesTheSameRepliesForEveryCutOfTheInput) {
  const std::string input = ping(1) + "\r\n\n \t\r\n{\n" + ping(2) + "\n\v\r\r\n" + ping(3) + "\nrest";
  const std::string replies = pong(1) + parseErrorLine("unexpected end of input") + pong(2) +
                              parseErrorLine("expected value, got (11)") + pong(3);
  for (std::size_t at = 0; at <= input.size(); ++at) {
    const Served result = served({input.substr(0, at), input.substr(at)});
    ASSERT_EQ(result.replies, replies) << "cut at " << at;
    ASSERT_EQ(result.left, "rest") << "cut at " << at;
  }
}

TEST(Run, TakesALineOfSeveralMegabytes) {
  const std::string text(5'000'000, 'x');
  const Served result =
      served({ping(1) + "\n", R"({"id": 2, "method": ")" + text + "\"}", "\n" + ping(3) + "\n"});
  EXPECT_EQ(result.replies, pong(1) + unknownMethodReply(2, text) + "\n" + pong(3));
}

TEST(Run, WritesEveryReplyAsOneLine) {
  const Served result = served({R"({"id": "\n\r\u2028\u0000", "method": "\n"})"
                                "\n"});
  EXPECT_EQ(result.replies, unknownMethodReply(R"("\n\r\u2028\u0000")", R"(\n)") + "\n");
}

TEST(Run, LeavesDescriptor0NonBlockingAndDescriptor1AsItIs) {
  int flagsBefore = 0;
  int flagsAfter = 0;
  int outputBefore = 0;
  int outputAfter = 0;
  McpServer server;
  {
    StdioPipes pipes;
    flagsBefore = ::fcntl(0, F_GETFL);
    outputBefore = ::fcntl(1, F_GETFL);
    pipes.input.end();
    run(server);
    flagsAfter = ::fcntl(0, F_GETFL);
    outputAfter = ::fcntl(1, F_GETFL);
  }
  EXPECT_EQ(flagsBefore & O_NONBLOCK, 0);
  EXPECT_EQ(flagsAfter, flagsBefore | O_NONBLOCK);
  EXPECT_EQ(outputAfter, outputBefore);
  EXPECT_TRUE(server.running);
}

TEST(Run, EndsWhenStandardInputCannotBeRead) {
  const int folder = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(folder, 0);
  McpServer server;
  int result = -1;
  std::string printed;
  {
    const ReplacedDescriptor input(0, folder);
    const CapturedDescriptor diagnostics(2);
    result = run(server);
    printed = diagnostics.text();
  }
  ::close(folder);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(printed, "read(stdin) error: Is a directory\n");
}

TEST(Run, ReadsAFileToItsEnd) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  const std::string input = ping(1) + "\n" + ping(2) + "\n";
  std::fwrite(input.data(), 1, input.size(), file);
  std::rewind(file);
  McpServer server;
  int result = -1;
  std::string replies;
  {
    const ReplacedDescriptor descriptor(0, ::fileno(file));
    const CapturedDescriptor output(1);
    result = run(server);
    replies = output.text();
  }
  std::fclose(file);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(replies, pong(1) + pong(2));
}

}  // namespace
