// Linked into the server in coverage builds only. The server runs until a signal ends it, and counts are
// written at a regular exit only: this writes them before the signal does its work.

#include <csignal>

extern "C" void __gcov_dump();

namespace {

extern "C" void dumpCounts(int signal) {
  __gcov_dump();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

[[gnu::constructor]] void install() {
  std::signal(SIGTERM, dumpCounts);
}

}  // namespace
