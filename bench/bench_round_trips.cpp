// bench_round_trips: starts a host and a program that serves lines, each with this driver pinned to one
// processor core, and measures the program from outside. Prints one line of JSON. See round_trip_options.cpp.

#include "child_process.h"
#include "process_status.h"
#include "round_trip_options.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr unsigned kLimitSeconds = 120;  // a measure that takes longer has gone wrong
constexpr auto kSettlingTime = std::chrono::milliseconds(300);

using Clock = std::chrono::steady_clock;

double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// --- lines ---

/// `text` with each `mark` in it replaced.
std::string replaced(std::string text, std::string_view mark, const std::string& replacement) {
  std::size_t at = text.find(mark);
  while (at != std::string::npos) {
    text.replace(at, mark.size(), replacement);
    at = text.find(mark, at + replacement.size());
  }
  return text;
}

/// `count` request lines with running numbers from `first` on.
std::vector<std::string> requestLines(const Options& options, long first, long count) {
  const std::string request =
      replaced(options.request, "@FILL@", std::string(static_cast<std::size_t>(options.fill), 'x')) + "\n";
  std::vector<std::string> lines;
  lines.reserve(static_cast<std::size_t>(count));
  for (long i = 0; i < count; ++i) lines.push_back(replaced(request, "@ID@", std::to_string(first + i)));
  return lines;
}

void greet(const Options& options, ChildProcess& program) {
  program.exchange(options.greeting + "\n", 1);
  if (!options.notice.empty()) program.exchange(options.notice + "\n", 0);
}

// --- measures ---

/// The value below which the given share of all lie.
double quantile(std::vector<double>& values, double share) {
  const auto last = static_cast<double>(values.size() - 1);
  const auto at = values.begin() + std::lround(share * last);
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

/// What a process does between two moments.
Activity difference(const Activity& before, const Activity& after) {
  return {.processorNs = after.processorNs - before.processorNs,
          .contextSwitches = after.contextSwitches - before.contextSwitches};
}

/// Processor time of `process` since `before`, shared out over `parts`, in microseconds.
double processorTime(pid_t process, const Activity& before, long parts) {
  const Activity spent = difference(before, activityOf(process));
  return static_cast<double>(spent.processorNs) / 1000 / static_cast<double>(parts);
}

/// Greets the program and lets it answer the requests that are not counted.
void warmUp(const Options& options, ChildProcess& program) {
  greet(options, program);
  for (const std::string& line : requestLines(options, 1, options.warm)) program.exchange(line, 1);
}

void measureCalls(const Options& options) {
  ChildProcess program(options.program);
  warmUp(options, program);
  const std::vector<std::string> lines = requestLines(options, options.warm + 1, options.count);
  std::vector<double> times;
  times.reserve(lines.size());
  const Activity before = activityOf(program.id());
  for (const std::string& line : lines) {
    const Clock::time_point start = Clock::now();
    program.exchange(line, 1);
    times.push_back(microsecondsSince(start));
  }
  const double processorUs = processorTime(program.id(), before, options.count);
  const double p50 = quantile(times, 0.5);
  const double p99 = quantile(times, 0.99);
  std::printf(
      R"({"p50_us":%.2f,"p99_us":%.2f,"processor_us":%.2f,"request_bytes":%zu,"reply_bytes":%zu,"peak_kib":%ld})"
      "\n",
      p50, p99, processorUs, lines.back().size(), program.lastReplySize(), statusOf(program.id(), "VmHWM"));
}

void measureBurst(const Options& options) {
  ChildProcess program(options.program);
  warmUp(options, program);
  std::string all;
  for (const std::string& line : requestLines(options, options.warm + 1, options.count)) all += line;
  std::vector<double> times;
  const Activity before = activityOf(program.id());
  for (long i = 0; i < options.times; ++i) {
    const Clock::time_point start = Clock::now();
    program.exchange(all, options.count);
    times.push_back(microsecondsSince(start));
  }
  const double processorUs = processorTime(program.id(), before, options.times);
  std::printf(R"({"p50_us":%.2f,"processor_us":%.2f})"
              "\n",
              quantile(times, 0.5), processorUs);
}

void measureStart(const Options& options) {
  std::vector<double> times;
  std::vector<double> resident;
  for (long i = 0; i < options.count; ++i) {
    const Clock::time_point start = Clock::now();
    ChildProcess program(options.program);
    program.exchange(options.greeting + "\n", 1);
    times.push_back(microsecondsSince(start));
    resident.push_back(static_cast<double>(statusOf(program.id(), "VmRSS")));
  }
  std::printf(R"({"p50_us":%.2f,"resident_kib":%.0f})"
              "\n",
              quantile(times, 0.5), quantile(resident, 0.5));
}

void measureStays(const Options& options) {
  ChildProcess program(options.program);
  warmUp(options, program);
  const long before = statusOf(program.id(), "VmRSS");
  for (const std::string& line : requestLines(options, options.warm + 1, options.count))
    program.exchange(line, 1);
  std::this_thread::sleep_for(std::chrono::seconds(options.seconds));
  const long after = statusOf(program.id(), "VmRSS");
  std::printf(R"({"before_kib":%ld,"stays_kib":%ld,"reply_bytes":%zu})"
              "\n",
              before, after - before, program.lastReplySize());
}

/// What `process` does in `seconds` of silence, once it has come to rest.
Activity activityDuring(pid_t process, long seconds) {
  std::this_thread::sleep_for(kSettlingTime);
  const Activity before = activityOf(process);
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  return difference(before, activityOf(process));
}

void measureIdle(const Options& options) {
  ChildProcess program(options.program);
  greet(options, program);
  for (const std::string& line : requestLines(options, 1, options.count)) program.exchange(line, 1);
  const Activity waiting = activityDuring(program.id(), options.seconds);
  program.endInput();
  const Activity ended = activityDuring(program.id(), options.seconds);
  std::printf(
      R"({"waiting_ns":%lld,"waiting_switches":%lld,"ended_ns":%lld,"ended_switches":%lld,"threads":%ld})"
      "\n",
      waiting.processorNs, waiting.contextSwitches, ended.processorNs, ended.contextSwitches,
      statusOf(program.id(), "Threads"));
}

struct Measure {
  std::string_view name;
  void (*take)(const Options& options);
};
constexpr Measure kMeasures[] = {{"calls", measureCalls},
                                 {"burst", measureBurst},
                                 {"start", measureStart},
                                 {"stays", measureStays},
                                 {"idle", measureIdle}};

const Measure& measureCalled(const std::string& name) {
  const auto* found = std::find_if(std::begin(kMeasures), std::end(kMeasures),
                                   [&name](const Measure& measure) { return measure.name == name; });
  if (found == std::end(kMeasures)) refuse("there is no measure '" + name + "'");
  return *found;
}

// --- surroundings ---

/// Confines this process and those that it starts to the last core it may use: two processes that take turns
/// run at one speed there, while on two cores chance decides who pays for waking whom.
void pinToOneCore() {
  cpu_set_t allowed;
  ::sched_getaffinity(0, sizeof allowed, &allowed);
  for (std::size_t core = CPU_SETSIZE; core-- > 0;) {
    if (!CPU_ISSET(core, &allowed)) continue;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    ::sched_setaffinity(0, sizeof one, &one);
    return;
  }
}

/// A folder of its own as TMPDIR, for the host's socket; removed with this object.
class SocketFolder {
 public:
  SocketFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvXXXXXX").string();
    if (!::mkdtemp(name.data())) giveUp("no temporary folder to be had");
    path_ = name;
    ::setenv("TMPDIR", path_.c_str(), 1);
  }
  ~SocketFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  SocketFolder(const SocketFolder&) = delete;
  SocketFolder& operator=(const SocketFolder&) = delete;

 private:
  std::filesystem::path path_;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = readOptions({argv + 1, argv + argc});
  const Measure& measure = measureCalled(options.measure);
  ::signal(SIGPIPE, SIG_IGN);
  ::alarm(kLimitSeconds);
  pinToOneCore();
  const SocketFolder folder;
  if (options.host.empty()) {
    measure.take(options);
    return 0;
  }
  ChildProcess host({options.host});
  host.exchange("", 1);
  measure.take(options);
}
