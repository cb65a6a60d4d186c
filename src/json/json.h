#pragma once

// JSON values for all MCP traffic.
//
//   Json          an immutable value: build it, read it, compare it, print it (dump), check it (hasShape)
//   JsonParse     how strict the parser is
//   Json::parse   text to value; the only way in from the wire
//   dump          a string alone, quoted as the serialiser quotes it
//
// Example:
//   Json reply = Json::object{{"id", 7}, {"tags", Json::array{"a", nullptr, true}}};
//   reply.dump();                       // {"id": 7, "tags": ["a", null, true]}
//
//   std::string error;
//   Json request = Json::parse(line, error);
//   if (error.empty()) use(request["method"].stringValue());

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace json11 {

/// What the parser accepts beside plain JSON.
enum JsonParse {
  Standard = 0,  ///< JSON only
  Comments = 1,  ///< JSON with // and /* */ comments between tokens
};

class JsonValue;

/// Whether T is a class whose values become pointers to functions by themselves.
template <typename T>
concept BecomesFunctionPointer = std::is_class_v<T> && requires(const T& value) {
  requires std::is_function_v<std::remove_pointer_t<decltype(+value)>>;
};

/// An immutable JSON value.
///
/// A handle on a shared, reference-counted payload: a copy costs one increment, whatever the value's size.
/// Handles may be copied and destroyed on several threads at once and payloads are never modified, so
/// concurrent reads are safe.
///
/// Reading never fails: an accessor of the wrong kind gives 0, false or an empty value, and a missing member
/// or element reads as null. Only a value that has been moved from may not be read: it may be assigned to and
/// destroyed. Nothing here throws but allocation failure and construction from a null `const char*`.
class Json final {
 public:
  /// The kinds of value. Their order is the order of values of different kinds.
  enum class Type : std::int32_t { Null = 0, Number = 1, Bool = 2, String = 3, Array = 4, Object = 5 };

  using array = std::vector<Json>;
  using object = std::map<std::string, Json>;  ///< ordered by the bytes of the keys
  using shape = std::vector<std::pair<std::string, Type>>;

  // Construction. Null, true and false share one payload each; every other value is one allocation.
  Json() noexcept;
  Json(std::nullptr_t) noexcept;
  Json(double value);
  Json(int value);
  Json(unsigned long value);  ///< exact over the whole 64-bit range
  Json(bool value);
  Json(const std::string& value);  ///< any bytes; UTF-8 by convention, never checked
  Json(std::string&& value);
  Json(const char* value);  ///< throws std::logic_error for a null pointer
  Json(char* value) : Json(static_cast<const char*>(value)) {}
  Json(const array& values);
  Json(array&& values);
  Json(const object& values);
  Json(object&& values);
  // Any other pointer would silently become true, and so would a lambda that captures nothing.
  template <typename T>
  Json(T*) = delete;
  template <typename T, typename Class>
  Json(T Class::*) = delete;
  template <BecomesFunctionPointer T>
  Json(const T&) = delete;

  Type type() const;

  double numberValue() const;
  /// A double is truncated toward zero; of an unsigned 64-bit value the low 32 bits are read as signed.
  /// A double that does not fit reads as the lowest int.
  int intValue() const;
  bool boolValue() const;
  /// How 64-bit addresses are read back. A negative number gives its two's complement. A double that does not
  /// fit reads as 2^63.
  std::uint64_t uint64Value() const;
  // References stay valid as long as any handle on the same value lives.
  const std::string& stringValue() const;
  const array& arrayItems() const;
  const object& objectItems() const;
  const Json& operator[](std::size_t index) const;
  const Json& operator[](const std::string& key) const;

  /// Appends this value as one line of JSON text to `out`, members in key order, one space after each comma
  /// and colon. Holds no raw byte below 0x20.
  void dump(std::string& out) const;
  /// The same text in a string of its own.
  std::string dump() const;

  /// Parses exactly one value from `text`.
  ///
  /// On success `error` is left as it was. On failure it receives the first error's message, without a
  /// position, and the result is null. Values nest up to 200 deep below the outermost.
  /// Integers of up to nine characters are kept as int, non-negative ones above 4294967295 as unsigned 64-bit
  /// (at most 2^64 - 1), all else as double. The text decides, and there an exponent behind a non-negative
  /// integer counts like digits: a text of more than ten characters, or of ten and above "4294967295" byte by
  /// byte, is read as the unsigned integer before its exponent. So 5000000e10 reads as 5000000.
  static Json parse(const std::string& text, std::string& error, JsonParse strategy = JsonParse::Standard);

  /// Parses values one after another until the end of `text` or the first error.
  ///
  /// `stopPosition` receives the index (in bytes) just after the last value that was read whole and the white
  /// space behind it. A value that fails is appended as null; its message goes to `error`.
  static array parseMulti(const std::string& text, std::string::size_type& stopPosition, std::string& error,
                          JsonParse strategy = JsonParse::Standard);

  /// True when this value is an object whose listed members have the listed kinds (a missing member reads as
  /// null). Otherwise `error` receives a sentence that says what is wrong.
  bool hasShape(const shape& types, std::string& error) const;

  /// Numbers are equal when their doubles are, whatever holds them.
  friend bool operator==(const Json& a, const Json& b) { return a.equals(b); }
  friend bool operator!=(const Json& a, const Json& b) { return !a.equals(b); }
  /// Values of different kinds are ordered by kind, others by value. NaN is neither below nor above any
  /// number. Takes time in proportion to the size of the smaller value.
  friend bool operator<(const Json& a, const Json& b) { return std::is_lt(a.compare(b)); }
  friend bool operator>(const Json& a, const Json& b) { return std::is_lt(b.compare(a)); }
  friend bool operator<=(const Json& a, const Json& b) { return std::is_gteq(b.compare(a)); }
  friend bool operator>=(const Json& a, const Json& b) { return std::is_gteq(a.compare(b)); }

 private:
  bool equals(const Json& other) const;
  /// Equivalent where neither is less.
  std::weak_ordering compare(const Json& other) const;

  std::shared_ptr<const JsonValue> payload_;
};

/// Appends `value` to `out` as a JSON string, quotes included. U+2028 and U+2029 are escaped; bytes that are
/// not UTF-8 are copied as they are.
void dump(const std::string& value, std::string& out);

}  // namespace json11
