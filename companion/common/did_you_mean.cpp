#include "companion/common/did_you_mean.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace {

constexpr std::size_t kMostSuggestions = 3;

/// One slip for as many characters of the word is likely; more of them make it another word.
constexpr std::size_t kCharactersPerSlip = 3;

/// What is longer is no slip, and the comparison's cost grows with the length.
constexpr std::size_t kLongestWord = 100;

/// A beginning that is shorter fits too much.
constexpr std::size_t kShortestBeginning = 3;

std::string lowerCase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

/// The fewest slips that make `second` of `first`: a character too much, too few or another one, or two
/// neighbours in the wrong order.
std::size_t slipsBetween(std::string_view first, std::string_view second) {
  std::vector<std::size_t> beforeLast(second.size() + 1);
  std::vector<std::size_t> last(second.size() + 1);
  std::vector<std::size_t> now(second.size() + 1);
  for (std::size_t column = 0; column <= second.size(); ++column) now[column] = column;
  for (std::size_t row = 1; row <= first.size(); ++row) {
    beforeLast.swap(last);
    last.swap(now);
    now[0] = row;
    for (std::size_t column = 1; column <= second.size(); ++column) {
      const bool isSame = first[row - 1] == second[column - 1];
      now[column] = std::min({last[column] + 1, now[column - 1] + 1, last[column - 1] + (isSame ? 0 : 1)});
      const bool isSwapped = row > 1 && column > 1 && first[row - 1] == second[column - 2] &&
                             first[row - 2] == second[column - 1];
      if (isSwapped) now[column] = std::min(now[column], beforeLast[column - 2] + 1);
    }
  }
  return now.back();
}

/// Those of `known` with the fewest slips, unless these are too many.
std::vector<std::string> nearest(const std::string& word, const std::vector<std::string>& known) {
  std::vector<std::string> found;
  std::size_t fewest = std::max<std::size_t>(1, word.size() / kCharactersPerSlip);
  for (const std::string& each : known) {
    const std::size_t slips = slipsBetween(word, lowerCase(each));
    if (slips < fewest) found.clear();
    if (slips <= fewest) found.push_back(each);
    fewest = std::min(fewest, slips);
  }
  return found;
}

/// Those of `known` that begin with `word`.
std::vector<std::string> beginningWith(const std::string& word, const std::vector<std::string>& known) {
  std::vector<std::string> found;
  std::ranges::copy_if(known, std::back_inserter(found),
                       [&word](const std::string& each) { return lowerCase(each).starts_with(word); });
  return found;
}

std::vector<std::string> likelyMeant(const std::string& word, const std::vector<std::string>& known) {
  if (word.empty() || word.size() > kLongestWord) return {};
  std::vector<std::string> found = nearest(word, known);
  if (found.empty() && word.size() >= kShortestBeginning) found = beginningWith(word, known);
  found.resize(std::min(found.size(), kMostSuggestions));
  return found;
}

}  // namespace

std::string thereIsNo(const std::string& kind, const std::string& word, const std::vector<std::string>& known,
                      const std::string& hint) {
  std::string sentence = "there is no " + kind + " \"" + word + '"';
  const std::vector<std::string> meant = likelyMeant(lowerCase(word), known);
  for (const std::string& each : meant)
    sentence += (&each == &meant.front() ? " (did you mean \"" : " or \"") + each + '"';
  if (!meant.empty()) sentence += "?)";
  return hint.empty() ? sentence : sentence + "; " + hint;
}
