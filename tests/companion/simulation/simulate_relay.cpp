// simulate_relay [--schedules COUNT] [--seed FIRST]: runs COUNT schedules (1 by default), with the seeds from
// FIRST on (0 by default). With one schedule, tells what happens in it. Exit status: 0, or 1 when something
// went wrong, or 2 for a wrong command line.

#include "companion/simulation/relay_schedule.h"

#include <charconv>
#include <cstdio>
#include <string_view>

namespace {

bool readNumber(std::string_view text, unsigned& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

int simulate(unsigned schedules, unsigned first) {
  for (unsigned count = 0; count < schedules; ++count) {
    RelaySchedule schedule(first + count);
    const std::string fault = schedule.run();
    if (schedules == 1) std::fputs(schedule.log().c_str(), stdout);
    if (fault.empty()) continue;
    std::fprintf(stderr, "simulate_relay: %s (see --seed %u)\n", fault.c_str(), first + count);
    return 1;
  }
  std::printf("%u schedules, no fault\n", schedules);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  unsigned schedules = 1;
  unsigned first = 0;
  for (int at = 1; at < argc; at += 2) {
    const std::string_view option = argv[at];
    const bool isKnown = option == "--schedules" || option == "--seed";
    if (!isKnown || at + 1 == argc || !readNumber(argv[at + 1], option == "--seed" ? first : schedules)) {
      std::fprintf(stderr, "simulate_relay: use --schedules COUNT and --seed FIRST, not \"%s\"\n", argv[at]);
      return 2;
    }
  }
  return simulate(schedules, first);
}
