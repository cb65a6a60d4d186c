#pragma once

// Settings files as people and programs write them, at random: with comments everywhere, in every spelling
// that the language has, with and without an entry of ours, in each of the ways in which that can be written.

#include <cstdint>
#include <random>
#include <string>
#include <vector>

/// What may become of a comment when our entry is written or taken out.
enum class CommentFate {
  kStays,          ///< it is outside our entry, or on a line of its own
  kGoesWithEntry,  ///< it is within our entry, so that it goes when the entry is taken out
  kGoesAlways,     ///< it is within tables that are no entry, in the place of ours
};

struct RandomSettings {
  std::string text = {};
  bool mayBeRefused = false;  ///< something that cannot be changed safely is in the way of our entry
  /// The comments in the order of the text. Each occurs once.
  std::vector<std::pair<std::string, CommentFate>> comments = {};
};

/// The same text for the same seed. TOML with servers in "mcp_servers".
RandomSettings randomToml(std::uint64_t seed);

/// JSON with comments and last commas, with servers in "servers".
RandomSettings randomJson(std::uint64_t seed);

/// Chance, and a text that is written by it.
class RandomWriter {
 public:
  explicit RandomWriter(std::uint64_t seed) : chance_(seed) {}

  /// A number from zero to `count - 1`.
  std::size_t below(std::size_t count) { return chance_() % count; }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  template <typename Choices>
  auto oneOf(const Choices& choices) {
    return *(std::begin(choices) + static_cast<std::ptrdiff_t>(below(std::size(choices))));
  }

  /// A comment that was not there before: "c1;" within the given marks.
  std::string comment(const std::string& before, const std::string& behind = {});

  RandomSettings settings = {};
  CommentFate fate = CommentFate::kStays;  ///< of the comments that are made now

 private:
  std::mt19937_64 chance_;
};
