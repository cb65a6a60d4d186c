#include "companion/serve/inherited_output.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <memory>
#include <string>

namespace {

using Ends = std::array<int, 2>;  ///< to be read from, to be written to

Ends pipeEnds() {
  Ends ends{};
  EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  return ends;
}

Ends socketEnds() {
  Ends ends{};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  return ends;
}

std::unique_ptr<InheritedOutput> asItIs(int descriptor) {
  return std::make_unique<InheritedOutput>(descriptor);
}

/// As where a pipe may not be opened once more, which another user has made.
std::unique_ptr<InheritedOutput> withoutReopening(int descriptor) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  auto output = std::make_unique<InheritedOutput>(descriptor);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(output->descriptor(), descriptor);
  return output;
}

struct OutputKind {
  const char* name;
  Ends (*make)();
  std::unique_ptr<InheritedOutput> (*open)(int descriptor);
};

const OutputKind kKinds[] = {{"a pipe", pipeEnds, asItIs},
                             {"a pipe that cannot be opened once more", pipeEnds, withoutReopening},
                             {"a socket", socketEnds, asItIs}};

TEST(InheritedOutput, TakesWhatThereIsRoomForAndDoesNotWait) {
  for (const OutputKind& kind : kKinds) {
    const Ends ends = kind.make();
    const int flags = ::fcntl(ends[1], F_GETFL);
    const auto output = kind.open(ends[1]);
    const std::string much(100000, 'x');
    std::size_t taken = 0;
    std::optional<std::size_t> count = output->write(much);
    for (; count && *count > 0; count = output->write(much)) taken += *count;
    EXPECT_EQ(count, 0U) << kind.name;
    EXPECT_GT(taken, 10000U) << kind.name;

    std::string all(taken, ' ');
    std::size_t read = 0;
    while (read < taken) read += static_cast<std::size_t>(::read(ends[0], all.data() + read, taken - read));
    EXPECT_TRUE(all == std::string(taken, 'x')) << kind.name;
    EXPECT_EQ(output->write("more"), 4U) << kind.name;
    EXPECT_EQ(::fcntl(ends[1], F_GETFL), flags) << kind.name;
    for (const int end : ends) ::close(end);
  }
}

TEST(InheritedOutput, TellsThatNobodyReads) {
  std::signal(SIGPIPE, SIG_IGN);
  for (const OutputKind& kind : kKinds) {
    const Ends ends = kind.make();
    const auto output = kind.open(ends[1]);
    ::close(ends[0]);
    errno = 0;
    EXPECT_EQ(output->write("unheard"), std::nullopt) << kind.name;
    EXPECT_EQ(errno, EPIPE) << kind.name;
    ::close(ends[1]);
  }
}

}  // namespace
