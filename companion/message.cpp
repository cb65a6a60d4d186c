#include "message.h"

#include <nlohmann/json.hpp>

#include <cstddef>

using Json = nlohmann::json;

namespace {

constexpr std::string_view kBlanks = " \t\n\r";
constexpr std::string_view kSilentMethod = "notifications/initialized";

/// Deepest value that the server accepts; the outermost is at depth 0.
constexpr std::size_t kMaxDepth = 200;

/// The code of every failure of a call that reached the server.
constexpr int kServerFailure = -32000;

/// Hears a text being parsed and keeps the method of the request, if it is one.
class MethodReader : public nlohmann::json_sax<Json> {
 public:
  const std::string& method() const { return method_; }

  bool null() override { return value(); }
  bool boolean(bool) override { return value(); }
  bool number_integer(number_integer_t) override { return value(); }
  bool number_unsigned(number_unsigned_t) override { return value(); }
  bool number_float(number_float_t, const string_t&) override { return value(); }
  bool binary(binary_t&) override { return value(); }
  bool string(string_t& text) override {
    const bool isMethod = depth_ == 1 && atMethod_;
    value();
    if (isMethod) method_ = text;
    return depth_ <= kMaxDepth;
  }
  bool key(string_t& name) override {
    if (depth_ == 1) atMethod_ = name == "method";
    return true;
  }
  bool start_object(std::size_t) override { return open(); }
  bool start_array(std::size_t) override { return open(); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 private:
  /// A value of any kind in the method's place replaces what an earlier member of that name said.
  bool value() {
    if (depth_ == 1 && atMethod_) method_.clear();
    return depth_ <= kMaxDepth;
  }
  bool open() {
    const bool goOn = value();
    ++depth_;
    return goOn;
  }
  bool close() {
    --depth_;
    return true;
  }

  std::size_t depth_ = 0;
  bool atMethod_ = false;
  std::string method_;
};

/// The server takes strings as bytes and a zero byte as any other, where this parser asks for valid UTF-8 and
/// paired surrogates and stops at a zero. None of them occurs in the text that is looked for, so they are
/// replaced.
std::string withoutUnicode(std::string_view line) {
  std::string text(line);
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\0' || static_cast<unsigned char>(text[at]) >= 0x80) text[at] = '?';
    const bool isSurrogate =
        at >= 2 && (text[at] == 'd' || text[at] == 'D') && text[at - 1] == 'u' && text[at - 2] == '\\';
    if (isSurrogate) text[at] = '1';
  }
  return text;
}

bool contains(std::string_view line, std::string_view part) {
  return line.find(part) != std::string_view::npos;
}

/// Whether `line` spells the silent method somewhere, plainly or with escapes.
bool couldBeSilent(std::string_view line) {
  return contains(line, kSilentMethod) || contains(line, "\\/") || contains(line, "\\u");
}

}  // namespace

bool expectsReply(std::string_view line) {
  if (line.find_first_not_of(kBlanks) == std::string_view::npos) return false;
  if (!couldBeSilent(line)) return true;
  MethodReader reader;
  return !Json::sax_parse(withoutUnicode(line), &reader) || reader.method() != kSilentMethod;
}

std::string failureReply(std::string_view line, std::string_view reason) {
  constexpr auto kSpelling = Json::error_handler_t::replace;
  Json request = Json::parse(line, nullptr, false);
  if (request.is_discarded()) request = Json::parse(withoutUnicode(line), nullptr, false);
  const Json id = request.is_object() && request.contains("id") ? request["id"] : Json();
  return "{\"error\": {\"code\": " + std::to_string(kServerFailure) +
         ", \"message\": " + Json(reason).dump(-1, ' ', false, kSpelling) +
         "}, \"id\": " + id.dump(-1, ' ', false, kSpelling) + ", \"jsonrpc\": \"2.0\"}";
}
