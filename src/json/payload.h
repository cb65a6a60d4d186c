#pragma once

// The payloads behind Json handles. Private to this folder.

#include "json/json.h"

#include <string>
#include <utility>

namespace json11 {

/// What a Json points to. Every accessor has the default that a wrong kind reads as.
class JsonValue {
 public:
  virtual Json::Type type() const = 0;
  /// `other` has the same type().
  virtual bool equals(const JsonValue* other) const = 0;
  virtual bool less(const JsonValue* other) const = 0;
  virtual void dump(std::string& out) const = 0;
  virtual double numberValue() const;
  virtual int intValue() const;
  virtual bool boolValue() const;
  virtual std::uint64_t uint64Value() const;
  virtual const std::string& stringValue() const;
  virtual const Json::array& arrayItems() const;
  virtual const Json& operator[](std::size_t index) const;
  virtual const Json::object& objectItems() const;
  virtual const Json& operator[](const std::string& key) const;

  JsonValue() = default;
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;
  virtual ~JsonValue() = default;
};

/// What a null holds: nothing. All nulls are equal and none is less.
struct NullStruct {
  bool operator==(const NullStruct&) const { return true; }
  bool operator<(const NullStruct&) const { return false; }
};

// One text form for each kind of stored value; the string form is the public one.
void dump(NullStruct value, std::string& out);
void dump(bool value, std::string& out);
void dump(double value, std::string& out);
void dump(int value, std::string& out);
void dump(unsigned long value, std::string& out);
void dump(const Json::array& values, std::string& out);
void dump(const Json::object& values, std::string& out);

/// A payload of kind `tag` that stores a T.
template <Json::Type tag, typename T>
class Value : public JsonValue {
 public:
  explicit Value(const T& stored) : value(stored) {}
  explicit Value(T&& stored) : value(std::move(stored)) {}

  Json::Type type() const override { return tag; }
  bool equals(const JsonValue* other) const override { return value == sameKind(other).value; }
  bool less(const JsonValue* other) const override { return value < sameKind(other).value; }
  void dump(std::string& out) const override { json11::dump(value, out); }

 protected:
  const T value;

 private:
  static const Value& sameKind(const JsonValue* other) { return static_cast<const Value&>(*other); }
};

class JsonNull final : public Value<Json::Type::Null, NullStruct> {
 public:
  JsonNull() : Value(NullStruct{}) {}
};

class JsonBoolean final : public Value<Json::Type::Bool, bool> {
 public:
  using Value::Value;
  bool boolValue() const override { return value; }
};

class JsonDouble final : public Value<Json::Type::Number, double> {
 public:
  using Value::Value;
  double numberValue() const override { return value; }
  int intValue() const override;
  std::uint64_t uint64Value() const override;
  bool equals(const JsonValue* other) const override;
  bool less(const JsonValue* other) const override;
};

class JsonInt final : public Value<Json::Type::Number, int> {
 public:
  using Value::Value;
  double numberValue() const override;
  int intValue() const override { return value; }
  std::uint64_t uint64Value() const override;
  bool equals(const JsonValue* other) const override;
  bool less(const JsonValue* other) const override;
};

class JsonUInt64 final : public Value<Json::Type::Number, unsigned long> {
 public:
  using Value::Value;
  double numberValue() const override;
  int intValue() const override;
  std::uint64_t uint64Value() const override { return value; }
  bool equals(const JsonValue* other) const override;
  bool less(const JsonValue* other) const override;
};

class JsonString final : public Value<Json::Type::String, std::string> {
 public:
  using Value::Value;
  const std::string& stringValue() const override { return value; }
};

class JsonArray final : public Value<Json::Type::Array, Json::array> {
 public:
  using Value::Value;
  const Json::array& arrayItems() const override { return value; }
  using Value::operator[];
  const Json& operator[](std::size_t index) const override;
};

class JsonObject final : public Value<Json::Type::Object, Json::object> {
 public:
  using Value::Value;
  const Json::object& objectItems() const override { return value; }
  using Value::operator[];
  const Json& operator[](const std::string& key) const override;
};

/// The payloads and containers that all values share, built on first use and destroyed at exit.
struct JsonStatics {
  const std::shared_ptr<const JsonValue> null = std::make_shared<JsonNull>();
  const std::shared_ptr<const JsonValue> t = std::make_shared<JsonBoolean>(true);
  const std::shared_ptr<const JsonValue> f = std::make_shared<JsonBoolean>(false);
  const std::string emptyString;
  const Json::array emptyArray{};
  const Json::object emptyObject{};
};

const JsonStatics& jsonStatics();

/// What a missing member or element reads as.
const Json& sharedNull();

}  // namespace json11
