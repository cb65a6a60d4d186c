#include "round_trip_options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char* kUsage =
    R"(Usage: bench_round_trips MEASURE [OPTION]... -- PROGRAM [ARGUMENT]...
measures
  calls   lines one at a time, each after the last one's reply
  burst   all lines written at once
  start   from the start of the program to its first reply, and its memory then
  stays   lines one at a time, then the memory that the program still holds after --seconds of silence
  idle    processor time and context switches while nothing happens, before and after end of input
options
  --host PROGRAM   is started first, and prints a line when it is ready
  --greet LINE     is sent first and answered; not counted
  --tell LINE      is sent after it and not answered
  --ask LINE       is the request; in it @ID@ stands for a running number and @FILL@ for filling
  --fill BYTES     how much filling (0)
  --count N        how many requests (1000), or starts
  --warm N         how many requests before them, not counted (0)
  --times N        how many bursts (1)
  --seconds N      how long to be silent, each time (1)
)";

long numberIn(std::string_view option, const std::string& text) {
  long number = -1;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size() || number < 0) {
    refuse("'" + text + "' is no number for " + std::string(option));
  }
  return number;
}

struct TextOption {
  std::string_view name;
  std::string Options::*value;
};
constexpr TextOption kTextOptions[] = {{"--host", &Options::host},
                                       {"--greet", &Options::greeting},
                                       {"--tell", &Options::notice},
                                       {"--ask", &Options::request}};

struct NumberOption {
  std::string_view name;
  long Options::*value;
};
constexpr NumberOption kNumberOptions[] = {{"--fill", &Options::fill},
                                           {"--count", &Options::count},
                                           {"--warm", &Options::warm},
                                           {"--times", &Options::times},
                                           {"--seconds", &Options::seconds}};

void setOption(Options& options, const std::string& name, const std::string& value) {
  for (const TextOption& option : kTextOptions) {
    if (option.name == name) {
      options.*option.value = value;
      return;
    }
  }
  for (const NumberOption& option : kNumberOptions) {
    if (option.name == name) {
      options.*option.value = numberIn(name, value);
      return;
    }
  }
  refuse("there is no option '" + name + "'");
}

}  // namespace

void refuse(const std::string& reason) {
  std::fprintf(stderr, "bench_round_trips: %s\n", reason.c_str());
  std::exit(2);
}

Options readOptions(const std::vector<std::string>& arguments) {
  if (arguments.empty()) refuse("a measure is missing; --help lists them");
  if (arguments.front() == "--help") {
    std::fputs(kUsage, stdout);
    std::exit(0);
  }
  Options options;
  options.measure = arguments.front();
  std::size_t next = 1;
  while (next < arguments.size() && arguments[next] != "--") {
    if (next + 1 == arguments.size()) refuse("'" + arguments[next] + "' needs a value");
    setOption(options, arguments[next], arguments[next + 1]);
    next += 2;
  }
  if (next + 1 >= arguments.size()) refuse("a program is missing; it follows '--'");
  options.program.assign(arguments.begin() + static_cast<std::ptrdiff_t>(next) + 1, arguments.end());
  if (options.count == 0 || options.times == 0) refuse("nothing is measured with a count of 0");
  return options;
}
