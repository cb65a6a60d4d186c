#include "companion/serve/request_queue.h"

#include "companion/serve/client_line.h"
#include "companion/session/pipe_io.h"

void RequestQueue::append(std::string_view bytes) {
  std::size_t searchFrom = kept().size();
  bytes_.append(bytes);
  const std::string_view all = kept();
  // Only the new bytes are searched: a long line must not cost the square of its length.
  for (std::size_t end = all.find(kLineEnd, searchFrom); end != std::string_view::npos;
       end = all.find(kLineEnd, searchFrom)) {
    lines_.push_back({end + 1 - linesEnd_, expectsReply(all.substr(linesEnd_, end - linesEnd_))});
    linesEnd_ = end + 1;
    searchFrom = end + 1;
  }
}

bool RequestQueue::hasRoom() const {
  return kept().size() < kRelayBufferBytes || !hasLine();
}

std::string_view RequestQueue::unsent() const {
  const std::size_t end =
      sentLines_ < lines_.size() ? sentLinesEnd_ + lines_[sentLines_].length : kept().size();
  return kept().substr(sent_, end - sent_);
}

void RequestQueue::markSent(std::size_t count) {
  sent_ += count;
  while (sentLines_ < lines_.size() && sentLinesEnd_ + lines_[sentLines_].length <= sent_)
    sentLinesEnd_ += lines_[sentLines_++].length;
  dropSilentSent();
}

void RequestQueue::markAnswered() {
  if (sentLines_ == 0) return;
  dropOldest();
  dropSilentSent();
}

std::optional<std::string> RequestQueue::takeLost() {
  const bool isLost = sentLines_ > 0;
  rewind();
  return isLost ? takeOldest() : std::nullopt;
}

std::optional<std::string> RequestQueue::takeOldest() {
  rewind();
  if (!hasLine()) return std::nullopt;
  const Line oldest = lines_.front();
  std::string text(kept().substr(0, oldest.length - 1));
  dropOldest();
  return oldest.expectsReply ? std::optional(std::move(text)) : std::nullopt;
}

/// Nothing is waited for on behalf of a line that draws no reply.
void RequestQueue::dropSilentSent() {
  while (sentLines_ > 0 && !lines_.front().expectsReply) dropOldest();
}

void RequestQueue::dropOldest() {
  const std::size_t length = lines_.front().length;
  lines_.pop_front();
  begin_ += length;
  linesEnd_ -= length;
  if (sentLines_ > 0) {
    --sentLines_;
    sentLinesEnd_ -= length;
    sent_ -= length;
  }
  // Moving the rest to the front only when it is the smaller part keeps the cost of each byte constant.
  if (begin_ > bytes_.size() / 2) {
    bytes_.erase(0, begin_);
    begin_ = 0;
    if (bytes_.capacity() > 2 * kRelayBufferBytes && bytes_.size() < kRelayBufferBytes)
      bytes_.shrink_to_fit();
  }
}

void RequestQueue::rewind() {
  sent_ = 0;
  sentLines_ = 0;
  sentLinesEnd_ = 0;
}
