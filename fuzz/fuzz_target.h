#pragma once

// What all fuzz targets share.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Tries one input; each target defines it. Called by libFuzzer or, for every file, by replay_main.cpp.
/// Returns 0; a promise that is broken ends the process (see expect).
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the process, with `promise` on standard error, unless the promise `holds`.
inline void expect(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

/// Ends the process, with both texts on standard error, unless they are the same bytes.
inline void expectSame(const std::string& got, const std::string& wanted, const char* promise) {
  if (got == wanted) return;
  std::fprintf(stderr, "got:    %s\nwanted: %s\n", got.c_str(), wanted.c_str());
  expect(false, promise);
}

/// The bytes of an input as a string.
inline std::string asText(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}
