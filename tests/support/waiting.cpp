#include "support/waiting.h"

#include <poll.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

std::runtime_error nothingCame(const char* what) {
  return std::runtime_error(std::string("waited in vain for ") + what);
}

}  // namespace

void waitUntilReadable(int descriptor, const char* what) {
  pollfd ready{descriptor, POLLIN, 0};
  if (::poll(&ready, 1, kWaitLimitMs) <= 0) throw nothingCame(what);
}

void waitUntil(const std::function<bool()>& condition, const char* what) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitLimitMs);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) throw nothingCame(what);
    std::this_thread::sleep_for(
        std::chrono::milliseconds(1));  // between two questions; nothing announces the answer
  }
}
