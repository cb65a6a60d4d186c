#pragma once

#include <chrono>

/// The time since it was made, for limits that are a behaviour.
class Elapsed {
 public:
  std::chrono::milliseconds time() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_);
  }

 private:
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start_ = Clock::now();
};
