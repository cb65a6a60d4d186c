#include "devhost/progress_line.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <string>

namespace {

/// A line whose clock stands still until it is told otherwise, and what has been written of it.
class Progress : public testing::Test {
 protected:
  Progress() : output_(std::tmpfile()) {}
  ~Progress() override { std::fclose(output_); }

  std::string written() {
    std::string text(static_cast<std::size_t>(std::ftell(output_)), ' ');
    std::rewind(output_);
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), output_), text.size());
    return text;
  }

  std::FILE* const output_;
  ProgressLine::Clock::time_point now_;
};

TEST_F(Progress, ShowsNothingWithinASecond) {
  {
    ProgressLine line(output_, "small", [this] { return now_; });
    now_ += std::chrono::milliseconds(999);
    line.show(1 << 20, 2 << 20, 7);
  }
  EXPECT_EQ(written(), "");
}

TEST_F(Progress, IsOneLineThatIsWrittenAnewAndGoesAway) {
  {
    ProgressLine line(output_, "large", [this] { return now_; });
    now_ += std::chrono::milliseconds(1000);
    line.show(1 << 20, 8 << 20, 7);
    now_ += std::chrono::milliseconds(99);
    line.show(2 << 20, 8 << 20, 8);
    now_ += std::chrono::milliseconds(1);
    line.show(3 << 20, 8 << 20, 9);
  }
  EXPECT_EQ(written(),
            "\r\x1b[Klarge: 1.0 of 8.0 MiB of code, 7 procedures\r\x1b[Klarge: 3.0 of 8.0 MiB of code, 9 "
            "procedures\r\x1b[K");
}

TEST_F(Progress, IsCutToTheWidthOfTheTerminal) {
  constexpr winsize kNarrow{.ws_row = 24, .ws_col = 40, .ws_xpixel = 0, .ws_ypixel = 0};
  int screen = -1;
  int program = -1;
  ASSERT_EQ(openpty(&screen, &program, nullptr, nullptr, &kNarrow), 0);
  std::FILE* const terminal = fdopen(program, "w");
  {
    ProgressLine line(terminal, "large", [this] { return now_; });
    now_ += std::chrono::milliseconds(1000);
    line.show(1 << 20, 8 << 20, 7);
  }
  std::array<char, 100> shown{};
  const ssize_t size = read(screen, shown.data(), shown.size());
  EXPECT_EQ(std::string(shown.data(), static_cast<std::size_t>(size)),
            "\r\x1b[Klarge: 1.0 of 8.0 MiB of code, 7 proced\r\x1b[K");
  std::fclose(terminal);
  close(screen);
}

TEST_F(Progress, IsSilentWithoutATerminal) {
  ProgressLine line(nullptr, "large", [this] { return now_; });
  now_ += std::chrono::minutes(1);
  line.show(1 << 20, 8 << 20, 7);
}

}  // namespace
