#include "companion/serve/client_outbox.h"

#include "companion/session/pipe_io.h"

#include <algorithm>

std::size_t ClientOutbox::append(std::string_view bytes) {
  const std::size_t before = kept().size();
  bytes_.append(bytes);
  const std::size_t lastEnd = bytes.rfind(kLineEnd);
  if (lastEnd == std::string_view::npos) return 0;
  linesEnd_ = before + lastEnd + 1;
  return static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), kLineEnd));
}

void ClientOutbox::appendLine(std::string_view line) {
  append(line);
  append({&kLineEnd, 1});
}

std::string_view ClientOutbox::passable() const {
  if (linesEnd_ > 0) return kept().substr(0, linesEnd_);
  return inLine_ || !hasRoom() ? kept() : std::string_view();
}

void ClientOutbox::markPassed(std::size_t count) {
  if (count == 0) return;
  inLine_ = kept()[count - 1] != kLineEnd;
  begin_ += count;
  linesEnd_ -= std::min(linesEnd_, count);
  if (begin_ > bytes_.size() / 2) {
    bytes_.erase(0, begin_);
    begin_ = 0;
  }
}

void ClientOutbox::finishLine() {
  const bool clientHasPart = inLine_ && linesEnd_ == 0;
  if (clientHasPart) {
    append({&kLineEnd, 1});
  } else {
    bytes_.resize(begin_ + linesEnd_);
  }
}
