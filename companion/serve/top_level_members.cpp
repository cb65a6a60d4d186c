#include "companion/serve/top_level_members.h"

#include "json/json.h"

#include <string>

namespace {

constexpr std::string_view kBlanksBetweenMembers = " \t\n\r";

/// The longest spelling of one ASCII character: a backslash, "u" and four digits.
constexpr std::size_t kLongestSpelling = 6;

/// Reads a text from its beginning to its end. Every step is false, or empty, when the text has something
/// else.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  /// Steps over blanks and then `c`.
  bool step(char c) {
    skipBlanks();
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// Steps over blanks and a string, and returns it with its quotation marks.
  std::string_view string() {
    skipBlanks();
    if (!rest_.starts_with('"')) return {};
    return taken(endOfString(0));
  }

  /// Steps over blanks and a value of any kind, and returns it.
  std::string_view value() {
    skipBlanks();
    if (rest_.starts_with('"')) return string();
    if (rest_.starts_with('{') || rest_.starts_with('[')) return taken(endOfContainer());
    return taken(rest_.find_first_of(",}]"));
  }

 private:
  void skipBlanks() {
    const std::size_t begin = rest_.find_first_not_of(kBlanksBetweenMembers);
    rest_.remove_prefix(begin == std::string_view::npos ? rest_.size() : begin);
  }

  std::string_view taken(std::size_t length) {
    if (length == std::string_view::npos) return {};
    const std::string_view text = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return text;
  }

  /// Behind the string that opens at `open`.
  std::size_t endOfString(std::size_t open) const {
    for (std::size_t mark = rest_.find('"', open + 1); mark != std::string_view::npos;
         mark = rest_.find('"', mark + 1)) {
      std::size_t backslashes = 0;
      while (rest_[mark - 1 - backslashes] == '\\') ++backslashes;
      if (backslashes % 2 == 0) return mark + 1;
    }
    return std::string_view::npos;
  }

  /// Behind the object or array that the text begins with.
  std::size_t endOfContainer() const {
    std::size_t depth = 0;
    for (std::size_t at = 0; at < rest_.size();) {
      const char c = rest_[at];
      if (c == '"') {
        at = endOfString(at);
        continue;
      }
      ++at;
      if (c == '{' || c == '[') ++depth;
      if ((c == '}' || c == ']') && --depth == 0) return at;
    }
    return std::string_view::npos;
  }

  std::string_view rest_;
};

}  // namespace

std::optional<TopLevelMembers> topLevelMembers(std::string_view text) {
  Reader reader(text);
  TopLevelMembers members;
  if (!reader.step('{')) return std::nullopt;
  if (reader.step('}')) return members;
  do {
    const std::string_view key = reader.string();
    if (key.empty() || !reader.step(':')) return std::nullopt;
    const std::string_view value = reader.value();
    if (value.empty()) return std::nullopt;
    if (says(key, "method")) members.method = value;
    if (says(key, "id")) members.hasId = true;
  } while (reader.step(','));
  return members;
}

bool says(std::string_view spelled, std::string_view meaning) {
  if (spelled.size() < 2 || spelled.front() != '"') return false;
  if (spelled.size() > kLongestSpelling * meaning.size() + 2) return false;
  if (spelled.find('\\') == std::string_view::npos) return spelled.substr(1, spelled.size() - 2) == meaning;
  std::string unused;
  return json11::Json::parse(std::string(spelled), unused).stringValue() == meaning;
}
