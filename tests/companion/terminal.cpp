#include "companion/terminal.h"

#include "support/waiting.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <stdexcept>

Terminal::Terminal() : person_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
  ::grantpt(person_);
  ::unlockpt(person_);
  program_ = ::open(::ptsname(person_), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (program_ < 0) throw std::runtime_error("cannot make a terminal");
}

Terminal::~Terminal() {
  ::close(person_);
  closeProgramEnd();
}

void Terminal::closeProgramEnd() {
  if (program_ >= 0) ::close(program_);
  program_ = -1;
}

void Terminal::type(const std::string& keys) const {
  if (::write(person_, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size()))
    throw std::runtime_error("cannot type");
}

bool Terminal::readMore() {
  waitUntilReadable(person_, "the terminal");
  char bytes[4096];
  const ssize_t count = ::read(person_, bytes, sizeof bytes);
  if (count > 0) shown_.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

std::string Terminal::waitFor(const std::string& text) {
  std::size_t at = shown_.find(text);
  while (at == std::string::npos) {
    if (!readMore()) throw std::runtime_error("the terminal has not shown " + text + " but " + shown_);
    at = shown_.find(text);
  }
  std::string upToText = shown_.substr(0, at + text.size());
  shown_.erase(0, upToText.size());
  return upToText;
}

std::string Terminal::rest() {
  closeProgramEnd();
  while (readMore()) {
  }
  return shown_;
}

ServerOptions atTerminal(const TemporaryFolder& folder, const Terminal& terminal,
                         std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--ctty", ORVANE_COMPANION});
  return {.socketFolder = folder.path(),
          .arguments = std::move(arguments),
          .environment = {"TERM=vt100", "HOME=" + folder.path(), "XDG_STATE_HOME="},
          .standardInput = terminal.programEnd(),
          .standardOutput = terminal.programEnd(),
          .program = "/usr/bin/setsid"};
}
