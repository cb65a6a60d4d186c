#include "companion/common/printing.h"

#include "companion/common/command.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kFirstPrintable = 0x20;
constexpr unsigned kDelete = 0x7F;

/// The control characters above ASCII. Terminals obey them as they do escape sequences.
constexpr unsigned kFirstHighControl = 0x80;
constexpr unsigned kLastHighControl = 0x9F;

/// What a control byte differs in from the letter that is shown in its place.
constexpr unsigned kCaretBit = 0x40;

/// Why standard output did not take something for the first time, an errno; 0 when it took everything. The
/// stream itself remembers only that it failed.
int whyWritingFailed = 0;

void note(bool isWritten) {
  if (!isWritten && whyWritingFailed == 0) whyWritingFailed = errno;
}

bool isContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

/// How many bytes the character has that `text` begins with; 0 when that is not UTF-8.
std::size_t lengthOfCharacter(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  std::size_t length = 0;
  if (first < 0x80) length = 1;
  if (first >= 0xC2 && first < 0xE0) length = 2;
  if (first >= 0xE0 && first < 0xF0) length = 3;
  if (first >= 0xF0 && first < 0xF5) length = 4;
  if (text.size() < length) return 0;
  for (std::size_t at = 1; at < length; ++at)
    if (!isContinuation(static_cast<unsigned char>(text[at]))) return 0;
  return length;
}

/// "<9B>".
std::string inBrackets(unsigned code) {
  char text[8];
  std::snprintf(text, sizeof text, "<%02X>", code);
  return text;
}

/// The character `bytes`, which is not empty, as it can be shown.
std::string shown(std::string_view bytes) {
  const auto first = static_cast<unsigned char>(bytes.front());
  if (bytes.size() == 1) {
    const bool isControl = (first < kFirstPrintable && first != '\t' && first != '\n') || first == kDelete;
    return isControl ? std::string{'^', static_cast<char>(first ^ kCaretBit)} : std::string(bytes);
  }
  const auto second = static_cast<unsigned char>(bytes[1]);
  const bool isHighControl = first == 0xC2 && second >= kFirstHighControl && second <= kLastHighControl;
  return isHighControl ? inBrackets(second) : std::string(bytes);
}

}  // namespace

std::string visible(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = lengthOfCharacter(text);
    result +=
        length == 0 ? inBrackets(static_cast<unsigned char>(text.front())) : shown(text.substr(0, length));
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

void print(std::string_view text) {
  const std::string safe = ::isatty(STDOUT_FILENO) != 0 ? visible(text) : std::string();
  if (!safe.empty()) text = safe;
  note(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

void flushOutput() {
  note(std::fflush(stdout) == 0);
}

int finishOutput(int status) {
  const bool hasFailed = std::ferror(stdout) != 0;
  const bool isClosed = std::fclose(stdout) == 0;
  note(isClosed);
  if (isClosed && !hasFailed) return status;
  if (whyWritingFailed == EPIPE) return status == kSuccess ? kFailure : status;
  QString message = QStringLiteral("cannot write standard output");
  if (whyWritingFailed != 0)
    message += QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(whyWritingFailed));
  complain(message);
  return status == kSuccess ? kFailure : status;
}
