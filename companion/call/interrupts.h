#pragma once

#include <csignal>

/// Takes Ctrl-C (SIGINT) as an event instead of an end: while one of these lives, the signal waits until it
/// is taken here. For one thread, which is to be the only one; one at a time.
class Interrupts {
 public:
  Interrupts();
  /// Signals that were not taken are dropped.
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  /// Can be read, for poll, when there is something to take. Owned by this object.
  int descriptor() const { return descriptor_; }

  /// Whether Ctrl-C was pressed since the last call.
  bool take() const;

 private:
  int descriptor_ = -1;
  sigset_t maskBefore_ = {};
};
