#include "companion/serve/client_outbox.h"

#include <utility>

void ClientOutbox::push(std::string line) {
  bytes_ += line.size();
  lines_.push_back(std::move(line));
}

std::string_view ClientOutbox::unsent() const {
  return lines_.empty() ? std::string_view() : std::string_view(lines_.front()).substr(sent_);
}

void ClientOutbox::markSent(std::size_t count) {
  bytes_ -= count;
  sent_ += count;
  if (lines_.empty() || sent_ < lines_.front().size()) return;
  lines_.pop_front();
  sent_ = 0;
}
