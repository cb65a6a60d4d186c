#include "json/json.h"

#include "json/payload.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace json11 {

namespace {

constexpr double kTwoToThe63 = 9223372036854775808.0;
constexpr std::uint64_t kTopBit = std::uint64_t{1} << 63;

bool numbersEqual(const JsonValue& a, const JsonValue* b) {
  return a.numberValue() == b->numberValue();
}

bool numberLess(const JsonValue& a, const JsonValue* b) {
  return a.numberValue() < b->numberValue();
}

// The standard library's own check words its message differently from version to version.
const char* requireText(const char* value) {
  if (value == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return value;
}

}  // namespace

const JsonStatics& jsonStatics() {
  static const JsonStatics statics;
  return statics;
}

const Json& sharedNull() {
  static const Json null;
  return null;
}

// --- payloads ---

double JsonValue::numberValue() const {
  return 0.0;
}
int JsonValue::intValue() const {
  return 0;
}
bool JsonValue::boolValue() const {
  return false;
}
std::uint64_t JsonValue::uint64Value() const {
  return 0;
}
const std::string& JsonValue::stringValue() const {
  return jsonStatics().emptyString;
}
const Json::array& JsonValue::arrayItems() const {
  return jsonStatics().emptyArray;
}
const Json& JsonValue::operator[](std::size_t) const {
  return sharedNull();
}
const Json::object& JsonValue::objectItems() const {
  return jsonStatics().emptyObject;
}
const Json& JsonValue::operator[](const std::string&) const {
  return sharedNull();
}

int JsonDouble::intValue() const {
  // Exact bounds: every int and its neighbours are doubles. NaN fails both comparisons.
  const bool fits = value > -2147483649.0 && value < 2147483648.0;
  return fits ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

std::uint64_t JsonDouble::uint64Value() const {
  if (value >= -kTwoToThe63 && value < kTwoToThe63) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
  }
  if (value >= kTwoToThe63 && value < 2 * kTwoToThe63) {
    return static_cast<std::uint64_t>(value - kTwoToThe63) | kTopBit;
  }
  return kTopBit;
}

bool JsonDouble::equals(const JsonValue* other) const {
  return numbersEqual(*this, other);
}
bool JsonDouble::less(const JsonValue* other) const {
  return numberLess(*this, other);
}

double JsonInt::numberValue() const {
  return value;
}
std::uint64_t JsonInt::uint64Value() const {
  return static_cast<std::uint64_t>(std::int64_t{value});
}
bool JsonInt::equals(const JsonValue* other) const {
  return numbersEqual(*this, other);
}
bool JsonInt::less(const JsonValue* other) const {
  return numberLess(*this, other);
}

double JsonUInt64::numberValue() const {
  return static_cast<double>(value);
}
int JsonUInt64::intValue() const {
  return static_cast<int>(static_cast<std::uint32_t>(value));
}
bool JsonUInt64::equals(const JsonValue* other) const {
  return numbersEqual(*this, other);
}
bool JsonUInt64::less(const JsonValue* other) const {
  return numberLess(*this, other);
}

const Json& JsonArray::operator[](std::size_t index) const {
  return index < value.size() ? value[index] : sharedNull();
}

const Json& JsonObject::operator[](const std::string& key) const {
  const auto member = value.find(key);
  return member == value.end() ? sharedNull() : member->second;
}

// --- construction ---

Json::Json() noexcept : payload_(jsonStatics().null) {}
Json::Json(std::nullptr_t) noexcept : payload_(jsonStatics().null) {}
Json::Json(double value) : payload_(std::make_shared<JsonDouble>(value)) {}
Json::Json(int value) : payload_(std::make_shared<JsonInt>(value)) {}
Json::Json(unsigned long value) : payload_(std::make_shared<JsonUInt64>(value)) {}
Json::Json(bool value) : payload_(value ? jsonStatics().t : jsonStatics().f) {}
Json::Json(const std::string& value) : payload_(std::make_shared<JsonString>(value)) {}
Json::Json(std::string&& value) : payload_(std::make_shared<JsonString>(std::move(value))) {}
Json::Json(const char* value) : payload_(std::make_shared<JsonString>(requireText(value))) {}
Json::Json(const array& values) : payload_(std::make_shared<JsonArray>(values)) {}
Json::Json(array&& values) : payload_(std::make_shared<JsonArray>(std::move(values))) {}
Json::Json(const object& values) : payload_(std::make_shared<JsonObject>(values)) {}
Json::Json(object&& values) : payload_(std::make_shared<JsonObject>(std::move(values))) {}

// --- access ---

Json::Type Json::type() const {
  return payload_->type();
}
double Json::numberValue() const {
  return payload_->numberValue();
}
int Json::intValue() const {
  return payload_->intValue();
}
bool Json::boolValue() const {
  return payload_->boolValue();
}
std::uint64_t Json::uint64Value() const {
  return payload_->uint64Value();
}
const std::string& Json::stringValue() const {
  return payload_->stringValue();
}
const Json::array& Json::arrayItems() const {
  return payload_->arrayItems();
}
const Json::object& Json::objectItems() const {
  return payload_->objectItems();
}
const Json& Json::operator[](std::size_t index) const {
  return (*payload_)[index];
}
const Json& Json::operator[](const std::string& key) const {
  return (*payload_)[key];
}

// --- comparison ---

bool Json::equals(const Json& other) const {
  if (payload_ == other.payload_) return true;
  if (type() != other.type()) return false;
  return payload_->equals(other.payload_.get());
}

/// One walk through both values. To ask whether an element is less, and then whether the other one is, would
/// double the time with each level.
std::weak_ordering Json::compare(const Json& other) const {
  if (payload_ == other.payload_) return std::weak_ordering::equivalent;
  if (type() != other.type()) return type() <=> other.type();
  const auto inOrder = [](const auto& a, const auto& b, auto compareItems) {
    return std::lexicographical_compare_three_way(a.begin(), a.end(), b.begin(), b.end(), compareItems);
  };
  if (type() == Type::Array) {
    return inOrder(arrayItems(), other.arrayItems(),
                   [](const Json& a, const Json& b) { return a.compare(b); });
  }
  if (type() == Type::Object) {
    return inOrder(objectItems(), other.objectItems(), [](const auto& a, const auto& b) {
      const std::weak_ordering keys = a.first <=> b.first;
      return std::is_neq(keys) ? keys : a.second.compare(b.second);
    });
  }
  if (payload_->less(other.payload_.get())) return std::weak_ordering::less;
  const bool isGreater = other.payload_->less(payload_.get());
  return isGreater ? std::weak_ordering::greater : std::weak_ordering::equivalent;
}

bool Json::hasShape(const shape& types, std::string& error) const {
  if (type() != Type::Object) {
    error = "expected JSON object, got " + dump();
    return false;
  }
  for (const auto& [key, kind] : types) {
    if ((*this)[key].type() != kind) {
      error = "bad type for " + key + " in " + dump();
      return false;
    }
  }
  return true;
}

}  // namespace json11
