// The parser against an independent one, nlohmann's, on the same bytes: both read the same texts to the same
// values. Where the two may differ stands in the two tables below, each row with its reason, and nowhere
// else. Repeated keys are no difference: with both the last one wins.

#include "fuzz_target.h"
#include "json/json.h"

#include <QByteArrayView>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>
#include <vector>

using json11::Json;
using json11::JsonParse;
using nlohmann::json;

namespace {

// --- what to look for in a text

bool beginsWithByteOrderMark(const std::string& text) {
  return text.starts_with("\xEF\xBB\xBF");
}

bool hasNul(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

/// Whether a value lies inside more than 200 others.
bool nestsTooDeep(const std::string& text) {
  int deepest = 0;
  const auto note = [&deepest](int depth, json::parse_event_t, const json&) {
    deepest = std::max(deepest, depth);
    return true;
  };
  const json ignored = json::parse(text, note, /*allow_exceptions=*/false, /*ignore_comments=*/true);
  return deepest > 200;
}

bool isNotUtf8(const std::string& text) {
  return !QByteArrayView(text).isValidUtf8();
}

/// The code point of the \u escape that `text` begins with, if it does.
std::optional<unsigned> unicodeEscape(std::string_view text) {
  if (text.size() < 6 || !text.starts_with("\\u")) return std::nullopt;
  unsigned codePoint = 0;
  const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 6, codePoint, 16);
  if (error != std::errc{} || end != text.data() + 6) return std::nullopt;
  return codePoint;
}

bool hasLoneSurrogateEscape(const std::string& text) {
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::optional<unsigned> first = unicodeEscape(rest);
    if (!first) {
      rest.remove_prefix(std::min<std::size_t>(rest.size(), rest.front() == '\\' ? 2 : 1));
      continue;
    }
    rest.remove_prefix(6);
    if (*first < 0xD800 || *first > 0xDFFF) continue;
    const unsigned second = unicodeEscape(rest).value_or(0);
    const bool pair = *first < 0xDC00 && second >= 0xDC00 && second <= 0xDFFF;
    if (!pair) return true;
    rest.remove_prefix(6);
  }
  return false;
}

/// Everything in the text that looks like a number, and perhaps more (digits in a string).
std::vector<std::string> numbers(const std::string& text) {
  std::vector<std::string> found;
  std::size_t at = text.find_first_of("-0123456789");
  while (at != std::string::npos) {
    const std::size_t end = std::min(text.find_first_not_of("+-.0123456789eE", at), text.size());
    found.push_back(text.substr(at, end - at));
    at = text.find_first_of("-0123456789", end);
  }
  return found;
}

double asDouble(const std::string& number) {
  return std::strtod(number.c_str(), nullptr);
}

bool hasNumberBeyondDouble(const std::string& text) {
  return std::ranges::any_of(numbers(text),
                             [](const std::string& number) { return std::isinf(asDouble(number)); });
}

bool hasCommentThatMayEndEarly(const std::string& text) {
  const auto has = [&text](const char* part) { return text.find(part) != std::string::npos; };
  return (has("//") && has("\r")) || (has("/") && hasNul(text));
}

// --- the allowed differences

enum class Accepted { kByOursOnly, kByTheirsOnly };

/// Texts that only one of the two may accept.
struct AcceptanceDifference {
  Accepted accepted;
  bool (*concerns)(const std::string& text);
  const char* reason;
};

constexpr AcceptanceDifference kAcceptanceDifferences[] = {
    {Accepted::kByTheirsOnly, nestsTooDeep,
     "ours refuses nesting above 200, which bounds its recursion; theirs keeps a stack of its own"},
    {Accepted::kByTheirsOnly, beginsWithByteOrderMark,
     "theirs skips a byte order mark; to ours it is no JSON, as RFC 8259 allows"},
    {Accepted::kByTheirsOnly, hasNul,
     "theirs takes a zero byte between tokens for the end of the text; ours knows the text's length"},
    {Accepted::kByOursOnly, isNotUtf8,
     "ours carries the bytes of a string unchecked; theirs insists on UTF-8"},
    {Accepted::kByOursOnly, hasLoneSurrogateEscape,
     "ours encodes half a surrogate pair like any code point; theirs refuses it"},
    {Accepted::kByOursOnly, hasNumberBeyondDouble,
     "ours reads a number beyond the range of double as an infinity; theirs refuses it"},
};

/// Numbers that ours reads as another value: always an unsigned 64-bit one made of the leading digits, where
/// theirs has the nearest double.
struct NumberDifference {
  bool (*concerns)(const std::string& number);
  const char* reason;
};

constexpr NumberDifference kNumberDifferences[] = {
    {[](const std::string& number) { return asDouble(number) >= 0x1p64; },
     "an integer above 2^64 - 1 saturates there with ours; theirs turns it into a double"},
    {[](const std::string& number) { return number.find_first_of("eE") < number.find('.'); },
     "ours tells its unsigned numbers by their text alone and reads those with an exponent but no fraction "
     "up "
     "to the exponent"},
};

/// Texts with comments that are not compared at all.
constexpr struct {
  bool (*concerns)(const std::string& text);
  const char* reason;
} kNotCompared = {hasCommentThatMayEndEarly,
                  "theirs ends a // comment at a carriage return too, and any comment at a zero byte"};

// --- the comparison

void checkAcceptance(const std::string& text, bool ours, bool theirs) {
  if (ours == theirs) return;
  const Accepted accepted = ours ? Accepted::kByOursOnly : Accepted::kByTheirsOnly;
  const bool allowed = std::ranges::any_of(kAcceptanceDifferences, [&](const AcceptanceDifference& row) {
    return row.accepted == accepted && row.concerns(text);
  });
  expect(allowed, ours ? "theirs refuses what ours accepts" : "ours refuses what theirs accepts");
}

bool isSameDouble(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);  // tells 0 from -0
}

bool isAllowedNumber(const std::string& text, const Json& ours, double theirs) {
  return std::ranges::any_of(numbers(text), [&](const std::string& number) {
    const bool concerned =
        std::ranges::any_of(kNumberDifferences, [&](const auto& row) { return row.concerns(number); });
    return concerned && isSameDouble(asDouble(number), theirs) &&
           std::strtoull(number.c_str(), nullptr, 10) == ours.uint64Value();
  });
}

void checkNumber(const std::string& text, const Json& ours, const json& theirs) {
  if (theirs.is_number_unsigned()) {
    expect(ours.uint64Value() == theirs.get<std::uint64_t>(), "a non-negative integer is exact");
  } else if (theirs.is_number_integer()) {
    const auto nearest = static_cast<double>(theirs.get<std::int64_t>());
    expect(ours.numberValue() == nearest, "a negative integer is exact or the nearest double");
  } else {
    const auto number = theirs.get<double>();
    expect(isSameDouble(ours.numberValue(), number) || isAllowedNumber(text, ours, number),
           "a number with fraction or exponent is the same double");
  }
}

void checkValue(const std::string& text, const Json& ours, const json& theirs) {
  switch (ours.type()) {
    case Json::Type::Null: expect(theirs.is_null(), "null for both"); return;
    case Json::Type::Bool:
      expect(theirs.is_boolean() && theirs.get<bool>() == ours.boolValue(), "the same boolean");
      return;
    case Json::Type::Number:
      expect(theirs.is_number(), "a number for both");
      checkNumber(text, ours, theirs);
      return;
    case Json::Type::String:
      expect(theirs.is_string(), "a string for both");
      expectSame(ours.stringValue(), theirs.get_ref<const std::string&>(), "the same string");
      return;
    case Json::Type::Array:
      expect(theirs.is_array() && theirs.size() == ours.arrayItems().size(), "arrays of the same length");
      for (std::size_t i = 0; i < theirs.size(); ++i) checkValue(text, ours[i], theirs[i]);
      return;
    case Json::Type::Object:
      expect(theirs.is_object() && theirs.size() == ours.objectItems().size(), "objects of the same size");
      for (const auto& [key, value] : ours.objectItems()) {
        expect(theirs.contains(key), "the same keys");
        checkValue(text, value, theirs[key]);
      }
      return;
  }
}

void compare(const std::string& text, JsonParse strategy) {
  const bool ignoreComments = strategy == JsonParse::Comments;
  if (ignoreComments && kNotCompared.concerns(text)) return;
  std::string error;
  const Json ours = Json::parse(text, error, strategy);
  const json theirs = json::parse(text, nullptr, /*allow_exceptions=*/false, ignoreComments);
  checkAcceptance(text, error.empty(), !theirs.is_discarded());
  if (error.empty() && !theirs.is_discarded()) checkValue(text, ours, theirs);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  compare(text, JsonParse::Standard);
  compare(text, JsonParse::Comments);
  return 0;
}
