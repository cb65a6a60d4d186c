// What parses is dumped and parsed again: the same value, and the same bytes when dumped once more.

#include "fuzz_target.h"
#include "json/json.h"

#include <algorithm>
#include <cmath>

using json11::Json;
using json11::JsonParse;

namespace {

/// The numbers that no text keeps: an infinity (from a text such as 1e999) is written as null; the negative
/// zero of a double is written as -0, which reads as the int 0.
bool isLostInText(double number) {
  return std::isinf(number) || (number == 0 && std::signbit(number));
}

bool isLostInText(const Json& value) {
  const auto lost = [](const Json& part) { return isLostInText(part); };
  return isLostInText(value.numberValue()) || std::ranges::any_of(value.arrayItems(), lost) ||
         std::ranges::any_of(value.objectItems(), [lost](const auto& member) { return lost(member.second); });
}

void checkOneLine(const std::string& text) {
  const bool control = std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
  expect(!control, "a dump holds no control characters");
}

Json parseDump(const std::string& text) {
  std::string error;
  Json value = Json::parse(text, error);
  expectSame(error, "", "a dump parses");
  return value;
}

void checkRoundTrip(const Json& value) {
  const std::string text = value.dump();
  checkOneLine(text);
  const Json again = parseDump(text);
  if (isLostInText(value)) {
    // The first dump has settled what is lost; from there on nothing may change.
    const std::string settled = again.dump();
    expectSame(parseDump(settled).dump(), settled, "a settled value dumps to the same bytes");
    return;
  }
  expect(again == value, "a dump parses to an equal value");
  expectSame(again.dump(), text, "an equal value dumps to the same bytes");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  std::string error;
  const Json value = Json::parse(text, error, JsonParse::Comments);
  if (error.empty()) checkRoundTrip(value);

  // The same bytes as a string's content, which need not be text at all.
  checkRoundTrip(Json(text));
  checkRoundTrip(Json::object{{text, Json::array{text}}});
  return 0;
}
