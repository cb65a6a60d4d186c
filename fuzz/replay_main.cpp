// Runs a fuzz target over files instead of under libFuzzer: replayer FILE-OR-FOLDER...
//
// Prints each input before it is tried, so that the last line names the one that broke a promise, and the
// number of inputs at the end. An argument that names no input is refused before any is tried: one line on
// standard error, exit status 2.

#include "fuzz_target.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Adds the file `argument`, or every file below the folder `argument` in order of name. Returns whether
/// there was any.
bool addInputs(const fs::path& argument, std::vector<fs::path>& inputs) {
  std::error_code error;
  if (fs::is_regular_file(argument, error)) {
    inputs.push_back(argument);
    return true;
  }
  const std::size_t before = inputs.size();
  for (fs::recursive_directory_iterator entry(argument, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->is_regular_file(error)) inputs.push_back(entry->path());
  }
  std::sort(inputs.begin() + static_cast<std::ptrdiff_t>(before), inputs.end());
  return !error && inputs.size() > before;
}

/// Returns false if the file cannot be read.
bool replay(const fs::path& input) {
  std::printf("%s\n", input.c_str());
  std::fflush(stdout);
  std::ifstream file(input, std::ios::binary);
  // A buffer of exactly the input's size lets the address sanitizer see a read behind its end.
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file.is_open() || file.bad()) return false;
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::span<char*> arguments(argv + 1, static_cast<std::size_t>(argc - 1));
  if (arguments.empty()) {
    std::fprintf(stderr, "usage: %s FILE-OR-FOLDER...\n", argv[0]);
    return 2;
  }
  std::vector<fs::path> inputs;
  for (const char* argument : arguments) {
    if (!addInputs(argument, inputs)) {
      std::fprintf(stderr, "%s: no input at \"%s\"\n", argv[0], argument);
      return 2;
    }
  }
  for (const fs::path& input : inputs) {
    if (!replay(input)) {
      std::fprintf(stderr, "%s: cannot read \"%s\"\n", argv[0], input.c_str());
      return 2;
    }
  }
  std::printf("%zu inputs\n", inputs.size());
  return 0;
}
