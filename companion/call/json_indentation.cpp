#include "companion/call/json_indentation.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace {

constexpr std::string_view kJsonBlanks = " \t\r\n";
constexpr std::string_view kTokenEnds = " \t\r\n{}[],:\"";
constexpr std::string_view kStringAndNumberStarts = "\"-0123456789";
constexpr std::string_view kWords[] = {"true", "false", "null"};

constexpr std::size_t kIndentBlanks = 2;

/// Deepest nesting that is indented. The server takes values 200 levels deep.
constexpr std::size_t kMaxLevels = 256;

/// Where the string ends that begins at the start of `text`: behind its closing quotation mark.
std::size_t endOfString(std::string_view text) {
  for (std::size_t at = 1; at < text.size(); ++at) {
    if (text[at] == '\\') {
      ++at;
    } else if (text[at] == '"') {
      return at + 1;
    }
  }
  return std::string_view::npos;
}

bool isScalar(std::string_view token) {
  return kStringAndNumberStarts.find(token.front()) != std::string_view::npos ||
         std::ranges::find(kWords, token) != std::end(kWords);
}

/// Takes the tokens one by one. Each operation is false where the token cannot stand.
class Indenter {
 public:
  explicit Indenter(std::size_t capacity) { out_.reserve(capacity); }

  bool open(char bracket) {
    if (last_ == Last::kValue || closers_.size() == kMaxLevels) return false;
    beginElement();
    out_ += bracket;
    closers_ += bracket == '{' ? '}' : ']';
    last_ = Last::kOpening;
    return true;
  }

  bool close(char bracket) {
    if (closers_.empty() || closers_.back() != bracket) return false;
    if (last_ != Last::kOpening && last_ != Last::kValue) return false;
    closers_.pop_back();
    if (last_ == Last::kValue) beginLine();
    out_ += bracket;
    last_ = Last::kValue;
    return true;
  }

  bool comma() {
    if (closers_.empty() || last_ != Last::kValue) return false;
    out_ += ',';
    last_ = Last::kComma;
    return true;
  }

  bool colon() {
    if (closers_.empty() || closers_.back() != '}' || last_ != Last::kValue) return false;
    out_ += ": ";
    last_ = Last::kColon;
    return true;
  }

  bool scalar(std::string_view token) {
    if (closers_.empty() || last_ == Last::kValue) return false;
    beginElement();
    out_ += token;
    last_ = Last::kValue;
    return true;
  }

  bool isComplete() const { return closers_.empty() && last_ == Last::kValue; }
  std::string take() { return std::move(out_); }

 private:
  enum class Last { kNothing, kOpening, kValue, kComma, kColon };

  void beginLine() { out_.append(1, '\n').append(kIndentBlanks * closers_.size(), ' '); }
  void beginElement() {
    if (last_ == Last::kOpening || last_ == Last::kComma) beginLine();
  }

  std::string out_;
  std::string closers_;  ///< of the brackets that are open, the innermost last
  Last last_ = Last::kNothing;
};

/// Takes the token that `text` begins with off it and gives it to `indenter`.
bool takeToken(std::string_view& text, Indenter& indenter) {
  const char first = text.front();
  std::size_t length = 1;
  if (first == '"') length = endOfString(text);
  if (kTokenEnds.find(first) == std::string_view::npos)
    length = std::min(text.find_first_of(kTokenEnds), text.size());
  if (length == std::string_view::npos) return false;
  const std::string_view token = text.substr(0, length);
  text.remove_prefix(length);
  switch (first) {
    case '{':
    case '[': return indenter.open(first);
    case '}':
    case ']': return indenter.close(first);
    case ',': return indenter.comma();
    case ':': return indenter.colon();
    default: return isScalar(token) && indenter.scalar(token);
  }
}

}  // namespace

std::optional<std::string> indentedJson(std::string_view text) {
  Indenter indenter(text.size() + text.size() / 2);
  while (true) {
    text.remove_prefix(std::min(text.find_first_not_of(kJsonBlanks), text.size()));
    if (text.empty()) break;
    if (!takeToken(text, indenter)) return std::nullopt;
  }
  if (!indenter.isComplete()) return std::nullopt;
  return indenter.take();
}
