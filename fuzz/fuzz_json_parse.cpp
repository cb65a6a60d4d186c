// Any bytes through parse and parseMulti, with and without comments: the error and the value agree, and so do
// the four ways to read the same text.

#include "fuzz_target.h"
#include "json/json.h"

#include <optional>

using json11::Json;
using json11::JsonParse;

namespace {

/// Stands in the error string before a parse; no message of the parser reads so.
constexpr const char* kUntouched = "untouched";

struct Outcome {
  std::optional<std::string> dump;  ///< the value's text, if the text was read
  std::string error;
};

Outcome parse(const std::string& text, JsonParse strategy) {
  std::string error = kUntouched;
  const Json value = Json::parse(text, error, strategy);
  if (error == kUntouched) return {value.dump(), ""};
  expect(!error.empty(), "a failure has a message");
  expect(value.type() == Json::Type::Null, "a failure gives null");
  return {std::nullopt, error};
}

/// Reads `text` with parseMulti and returns the values as one array.
Json parseMulti(const std::string& text, JsonParse strategy, std::size_t& stop, std::string& error) {
  stop = std::string::npos;
  Json::array values = Json::parseMulti(text, stop, error, strategy);
  expect(stop <= text.size(), "the stop position lies in the text");
  expect(!error.empty() || stop == text.size(), "without an error the whole text is read");
  expect(error.empty() || stop < text.size(), "an error leaves text unread");
  expect(error.empty() || !values.empty(), "an error leaves the value that it stopped at");
  return values;
}

/// What stands before the stop position reads the same without what stands behind it.
void checkCutOff(const std::string& text, JsonParse strategy, const Json& values, std::size_t stop) {
  Json::array readWhole = values.arrayItems();
  readWhole.pop_back();
  std::size_t prefixStop = 0;
  std::string error;
  const Json again = parseMulti(text.substr(0, stop), strategy, prefixStop, error);
  expectSame(error, "", "the text before the stop position is read without an error");
  expectSame(again.dump(), Json(readWhole).dump(), "the text before the stop position gives the same values");
}

void checkMulti(const std::string& text, JsonParse strategy, const Outcome& single) {
  std::size_t stop = 0;
  std::string error;
  const Json values = parseMulti(text, strategy, stop, error);
  if (!error.empty()) checkCutOff(text, strategy, values, stop);
  const bool oneValue = error.empty() && values.arrayItems().size() == 1;
  expect(oneValue == single.dump.has_value(), "parse reads exactly the texts that hold one value");
  if (oneValue) expectSame(values[0].dump(), *single.dump, "parse and parseMulti give the same value");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  const Outcome standard = parse(text, JsonParse::Standard);
  const Outcome comments = parse(text, JsonParse::Comments);
  checkMulti(text, JsonParse::Standard, standard);
  checkMulti(text, JsonParse::Comments, comments);
  if (standard.dump || text.find('/') == std::string::npos) {
    expect(comments.dump == standard.dump, "text without comments gives the same value with both strategies");
    expectSame(comments.error, standard.error, "text without comments fails alike with both strategies");
  }
  return 0;
}
