#include "companion/clients/toml_text.h"

// From its headers alone, so that there is no library to be shipped.
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string_view>

namespace {

OrderedJson valueOf(const toml::node& node) {
  if (const toml::table* const table = node.as_table()) {
    OrderedJson value = OrderedJson::object();
    for (const auto& [key, member] : *table) value[std::string(key.str())] = valueOf(member);
    return value;
  }
  if (const toml::array* const array = node.as_array()) {
    OrderedJson value = OrderedJson::array();
    for (const toml::node& element : *array) value.push_back(valueOf(element));
    return value;
  }
  if (const auto* const text = node.as_string()) return text->get();
  if (const auto* const number = node.as_integer()) return number->get();
  if (const auto* const number = node.as_floating_point()) return number->get();
  if (const auto* const truth = node.as_boolean()) return truth->get();
  std::ostringstream spelling;
  node.visit([&spelling](const auto& value) { spelling << value; });
  return spelling.str();
}

std::size_t beginOfLine(std::string_view text, toml::source_index line) {
  std::size_t at = 0;
  for (toml::source_index passed = 1; passed < line && at < text.size(); ++passed)
    at = std::min(text.find('\n', at), text.size() - 1) + 1;
  return at;
}

/// Positions count characters, not bytes.
std::size_t placeOf(std::string_view text, const toml::source_position& position) {
  const auto isWithinCharacter = [&text](std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80;
  };
  std::size_t at = beginOfLine(text, position.line);
  for (toml::source_index column = 1; column < position.column && at < text.size(); ++column)
    for (++at; isWithinCharacter(at); ++at) {
    }
  return at;
}

/// A text, number, boolean or list in JSON's spelling is one in TOML's too.
std::string lineFor(std::string_view text, const std::string& key, const OrderedJson& value) {
  return (key + " = " + value.dump()).append(lineEndOf(text));
}

std::string withNewTable(std::string text, const KeyPath& path, const OrderedJson& table) {
  const std::string_view end = lineEndOf(text);
  if (!text.empty() && text.back() != '\n') text += end;
  std::string addition = text.empty() ? "[" : std::string(end) + "[";
  for (const std::string& key : path) addition += (&key == &path.front() ? "" : ".") + key;
  addition.append("]").append(end);
  for (const auto& [key, value] : table.items()) addition += lineFor(text, key, value);
  return text + addition;
}

/// The table and the key in it that `path` leads to. The table is null when it is not there.
struct Place {
  const toml::table* table = nullptr;
  std::string key = {};
};

Place placeAt(const toml::table& root, const KeyPath& path) {
  Place place{&root, path.back()};
  for (std::size_t level = 0; level + 1 < path.size() && place.table != nullptr; ++level) {
    const toml::node* const next = place.table->get(path[level]);
    place.table = next == nullptr ? nullptr : next->as_table();
  }
  return place;
}

toml::source_index lastLineOf(const toml::node& node) {
  toml::source_index last = node.source().end.line;
  if (const toml::table* const table = node.as_table())
    for (const auto& [key, member] : *table) last = std::max(last, lastLineOf(member));
  return last;
}

}  // namespace

std::optional<OrderedJson> parseToml(const std::string& text, std::string& error) {
  try {
    return valueOf(toml::parse(text));
  } catch (const toml::parse_error& mistake) {
    const toml::source_position& place = mistake.source().begin;
    error = "line " + std::to_string(place.line) + ", column " + std::to_string(place.column) + ": " +
            std::string(mistake.description());
    return std::nullopt;
  }
}

std::string withTomlMember(const std::string& text, const KeyPath& path, const OrderedJson& value) {
  const toml::table root = toml::parse(text);
  const Place place = placeAt(root, path);
  const toml::node* const present = place.table == nullptr ? nullptr : place.table->get(place.key);
  if (value.is_object() && present == nullptr) return withNewTable(text, path, value);
  std::string result = text;
  if (present != nullptr) {
    const std::size_t begin = placeOf(text, present->source().begin);
    return result.replace(begin, placeOf(text, present->source().end) - begin, value.dump());
  }
  const toml::source_index header = place.table == nullptr ? 0 : place.table->source().begin.line;
  return result.insert(beginOfLine(text, header + 1), lineFor(text, place.key, value));
}

std::string withoutTomlMember(const std::string& text, const KeyPath& path) {
  const toml::table root = toml::parse(text);
  const Place place = placeAt(root, path);
  const auto member = place.table->find(place.key);
  std::size_t begin = beginOfLine(text, member->first.source().begin.line);
  const std::size_t end = beginOfLine(text, lastLineOf(member->second) + 1);
  if (begin > 0) {
    const std::size_t lineBefore = text.rfind('\n', begin - 1) == 0 ? 0 : text.rfind('\n', begin - 2) + 1;
    const std::string_view blank = std::string_view(text).substr(lineBefore, begin - lineBefore);
    if (blank.find_first_not_of("\r\n") == std::string_view::npos) begin = lineBefore;
  }
  return text.substr(0, begin) + text.substr(end);
}
