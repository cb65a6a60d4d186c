#include "companion/serve/request_queue.h"

#include <algorithm>
#include <utility>

void RequestQueue::append(std::string_view bytes) {
  cutter_.append(bytes, [this](std::string line) {
    const LineKind kind = kindOf(std::string_view(line).substr(0, line.size() - 1));
    bytes_ += line.size();
    if (kind == LineKind::kPing) ++pings_;
    requests_.push_back({std::move(line), kind});
  });
}

Request RequestQueue::takeFront() {
  Request request = std::move(requests_.front());
  requests_.pop_front();
  bytes_ -= request.line.size();
  if (request.kind == LineKind::kPing) --pings_;
  return request;
}

std::optional<Request> RequestQueue::takePing() {
  if (pings_ == 0) return std::nullopt;
  const auto found = std::ranges::find(requests_, LineKind::kPing, &Request::kind);
  Request ping = std::move(*found);
  requests_.erase(found);
  bytes_ -= ping.line.size();
  --pings_;
  return ping;
}
