#include "companion/call/interrupts.h"

#include <sys/signalfd.h>
#include <unistd.h>

Interrupts::Interrupts() {
  sigset_t taken;
  sigemptyset(&taken);
  sigaddset(&taken, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &taken, &maskBefore_);
  descriptor_ = ::signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
}

Interrupts::~Interrupts() {
  take();
  ::close(descriptor_);
  ::pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
}

bool Interrupts::take() const {
  signalfd_siginfo signal{};
  return ::read(descriptor_, &signal, sizeof signal) == sizeof signal;
}
