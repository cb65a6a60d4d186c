#pragma once

// A word that is not known, and the one that was probably meant.

#include <string>
#include <vector>

/// `there is no KIND "WORD" (did you mean "x"?); HINT`, with those of `known` that `word` is a slip of the
/// keyboard away from, or that it is the beginning of, whatever its capitals; at most three. Without the
/// question when there is none, and without the hint when that is empty.
std::string thereIsNo(const std::string& kind, const std::string& word, const std::vector<std::string>& known,
                      const std::string& hint);
