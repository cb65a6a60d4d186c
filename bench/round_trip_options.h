#pragma once

#include <string>
#include <vector>

/// What bench_round_trips is told to do; its usage explains each.
struct Options {
  std::string measure;
  std::string host;
  std::string greeting;
  std::string notice;
  std::string request;
  long fill = 0;
  long count = 1000;
  long warm = 0;
  long times = 1;
  long seconds = 1;
  std::vector<std::string> program;
};

/// Prints "bench_round_trips: reason" on standard error and ends the program with status 2.
[[noreturn]] void refuse(const std::string& reason);

/// Ends the program if an argument is no good, and after --help.
Options readOptions(const std::vector<std::string>& arguments);
