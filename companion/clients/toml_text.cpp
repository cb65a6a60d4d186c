#include "companion/clients/toml_text.h"

#include "companion/clients/toml_statements.h"

// From its headers alone, so that there is no library to be shipped.
#define TOML_HEADER_ONLY 1
#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <vector>

namespace {

using Kind = TomlStatement::Kind;
using Statements = std::vector<TomlStatement>;

/// The parser and what reads its tree call themselves for each level: more keys could take all of the stack.
constexpr std::size_t kMostKeysJoined = 32;

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
  // What is no number equals nothing, not even itself; its spelling does.
  if (const auto* const number = node.as_floating_point(); number != nullptr && std::isfinite(number->get()))
    return number->get();
  if (const auto* const truth = node.as_boolean()) return truth->get();
  std::ostringstream spelling;
  node.visit([&spelling](const auto& value) { spelling << value; });
  return spelling.str();
}

/// A text in TOML's spelling: JSON's, but for one byte that TOML does not take as it is.
std::string spelledText(const std::string& text) {
  std::string spelling;
  for (const char c : OrderedJson(text).dump()) {
    if (c == '\x7F') {
      spelling += "\\u007F";
    } else {
      spelling += c;
    }
  }
  return spelling;
}

std::string spelledKey(const std::string& key) {
  constexpr std::string_view kBare = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  const bool isBare = !key.empty() && key.find_first_not_of(kBare) == std::string::npos;
  return isBare ? key : spelledText(key);
}

template <typename Keys>
std::string joinedKeys(const Keys& keys) {
  std::string joined;
  for (const std::string& key : keys) joined += (joined.empty() ? "" : ".") + spelledKey(key);
  return joined;
}

/// `value` on one line.
std::string spelled(const OrderedJson& value) {
  if (value.is_string()) return spelledText(value);
  if (!value.is_structured()) return value.dump();
  std::string members;
  for (const auto& [key, member] : value.items()) {
    if (!members.empty()) members += ", ";
    if (value.is_object()) members += spelledKey(key) + " = ";
    members += spelled(member);
  }
  return value.is_object() ? "{" + members + "}" : "[" + members + "]";
}

/// How many keys `first` and `second` have in common before they part.
std::size_t commonKeys(const KeyPath& first, const KeyPath& second) {
  return static_cast<std::size_t>(std::ranges::mismatch(first, second).in1 - first.begin());
}

bool leadsTo(const KeyPath& start, const KeyPath& path) {
  return commonKeys(start, path) == start.size();
}

KeyPath firstKeys(const KeyPath& path, std::size_t count) {
  return {path.begin(), path.begin() + static_cast<std::ptrdiff_t>(count)};
}

KeyPath withoutFirstKeys(const KeyPath& path, std::size_t count) {
  return {path.begin() + static_cast<std::ptrdiff_t>(count), path.end()};
}

/// The depth of the innermost table on the way to `path` that `statements` know of.
std::size_t depthOfTable(const Statements& statements, const KeyPath& path) {
  std::size_t depth = 0;
  for (const TomlStatement& statement : statements) depth = std::max(depth, commonKeys(statement.path, path));
  return std::min(depth, path.size() - 1);
}

/// "key = value" that sets the member at `path`, of whose keys the tables of the first `depth` are there.
std::string pairFor(const KeyPath& path, std::size_t depth, const OrderedJson& value) {
  OrderedJson wrapped = value;
  for (std::size_t level = path.size() - 1; level > depth; --level)
    wrapped = OrderedJson::object({{path[level], wrapped}});
  return joinedKeys(firstKeys(path, depth + 1)) + " = " + spelled(wrapped);
}

/// Behind the line feed before `at`, or where the text proper begins.
std::size_t beginOfLine(std::string_view text, std::size_t at) {
  const std::size_t lineFeed = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
  if (lineFeed != std::string_view::npos) return lineFeed + 1;
  return text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
}

std::size_t endOfLine(std::string_view text, std::size_t at) {
  const std::size_t end = text.find('\n', at);
  return end == std::string_view::npos ? text.size() : end + 1;
}

/// The white space before `statement` on its line.
std::string indentOf(std::string_view text, const TomlStatement& statement) {
  const std::size_t lineBegin = beginOfLine(text, statement.begin);
  const std::size_t end = std::min(text.find_first_not_of(" \t", lineBegin), statement.begin);
  return std::string(text.substr(lineBegin, end - lineBegin));
}

/// `text` with `line` below the line of `above`, and indented like it.
std::string withLineBelow(std::string text, const TomlStatement& above, const std::string& line) {
  std::size_t at = endOfLine(text, above.end);
  if (text[at - 1] != '\n') {
    text += lineEndOf(text);
    at = text.size();
  }
  return text.insert(at, (indentOf(text, above) + line).append(lineEndOf(text)));
}

std::string withTableAtEnd(std::string text, const KeyPath& path, const std::vector<std::string>& lines) {
  const std::string_view end = lineEndOf(text);
  const bool isFirst = text.empty() || text == kByteOrderMark;
  if (!isFirst && text.back() != '\n') text += end;
  if (!isFirst) text += end;
  text.append("[").append(joinedKeys(path)).append("]").append(end);
  for (const std::string& line : lines) text.append(line).append(end);
  return text;
}

std::string withNewTable(const std::string& text, const KeyPath& path, const OrderedJson& table) {
  std::vector<std::string> lines;
  for (const auto& [key, value] : table.items()) lines.push_back(pairFor({key}, 0, value));
  return withTableAtEnd(text, path, lines);
}

/// `text` with a member that is new to the table at the first `depth` keys of `path`, outside inline tables.
std::string withNewMember(const std::string& text, const Statements& statements, const KeyPath& path,
                          std::size_t depth, const OrderedJson& value) {
  if (depth == 0)
    return withTableAtEnd(text, firstKeys(path, path.size() - 1), {pairFor({path.back()}, 0, value)});
  const KeyPath table = firstKeys(path, depth);
  const auto header = std::ranges::find_if(statements, [&table](const TomlStatement& each) {
    return each.kind == Kind::kTable && each.path == table;
  });
  if (header != statements.end())
    return withLineBelow(text, *header, pairFor(withoutFirstKeys(path, depth), 0, value));
  // A table that was opened by keys joined with dots goes on in that way only.
  const auto sibling = std::find_if(statements.rbegin(), statements.rend(), [&](const TomlStatement& each) {
    return each.kind == Kind::kPair && each.headerDepth < depth && leadsTo(table, each.path);
  });
  if (sibling != statements.rend())
    return withLineBelow(
        text, *sibling,
        pairFor(withoutFirstKeys(path, sibling->headerDepth), depth - sibling->headerDepth, value));
  return withTableAtEnd(text, table, {pairFor(withoutFirstKeys(path, depth), 0, value)});
}

const TomlStatement* pairOnTheWay(const Statements& statements, const KeyPath& path) {
  const auto found = std::ranges::find_if(statements, [&path](const TomlStatement& each) {
    return each.kind == Kind::kPair && leadsTo(each.path, path);
  });
  return found == statements.end() ? nullptr : &*found;
}

/// `after`, in which something was changed within the value that `pair` has in `before`, with the comments
/// that this has cut on lines of their own above the pair.
std::string withCutComments(std::string_view before, std::string after, const TomlStatement& pair) {
  const std::vector<std::string> old =
      tomlCommentsIn(before.substr(pair.valueBegin, pair.end - pair.valueBegin));
  const std::size_t end = pair.end + after.size() - before.size();
  const std::vector<std::string> kept =
      tomlCommentsIn(std::string_view(after).substr(pair.valueBegin, end - pair.valueBegin));
  // They are cut in one piece: where the two lists part.
  const auto firstCut = std::ranges::mismatch(old, kept).in1;
  const std::string indent = indentOf(before, pair);
  std::string lines;
  for (auto cut = firstCut; cut != firstCut + static_cast<std::ptrdiff_t>(old.size() - kept.size()); ++cut)
    lines.append(indent).append(*cut).append(lineEndOf(before));
  return after.insert(beginOfLine(before, pair.begin), lines);
}

/// `text` with the member at `path` set in the inline table at `at`.
std::string withInlineMember(std::string text, std::size_t at, const KeyPath& path,
                             const OrderedJson& value) {
  const Statements pairs = pairsOfInlineTable(text, at);
  if (const TomlStatement* const pair = pairOnTheWay(pairs, path)) {
    if (pair->path == path)
      return text.replace(pair->valueBegin, pair->end - pair->valueBegin, spelled(value));
    return withInlineMember(text, pair->valueBegin, withoutFirstKeys(path, pair->path.size()), value);
  }
  const std::string pair = pairFor(path, depthOfTable(pairs, path), value);
  return pairs.empty() ? text.insert(at + 1, pair) : text.insert(pairs.back().end, ", " + pair);
}

/// `text` without the pairs at or below `path` in the inline table at `at`.
std::string withoutInlineMember(std::string text, std::size_t at, const KeyPath& path) {
  const Statements pairs = pairsOfInlineTable(text, at);
  const TomlStatement* const outer = pairOnTheWay(pairs, path);
  if (outer != nullptr && outer->path != path)
    return withoutInlineMember(text, outer->valueBegin, withoutFirstKeys(path, outer->path.size()));
  const auto found =
      std::ranges::find_if(pairs, [&path](const TomlStatement& each) { return leadsTo(path, each.path); });
  if (found == pairs.end()) return text;
  std::size_t begin = found->begin;
  std::size_t end = found->end;
  if (found + 1 != pairs.end()) {
    end = (found + 1)->begin;
  } else if (found != pairs.begin()) {
    begin = (found - 1)->end;
  }
  return withoutInlineMember(text.erase(begin, end - begin), at, path);
}

/// Where the blank line before the line at `lineBegin` begins, or `lineBegin` when there is none.
std::size_t beginOfBlankLineBefore(std::string_view text, std::size_t lineBegin) {
  if (lineBegin == 0) return 0;
  const std::size_t before = beginOfLine(text, lineBegin - 1);
  const std::string_view line = text.substr(before, lineBegin - before);
  return line.find_first_not_of("\r\n") == std::string_view::npos ? before : lineBegin;
}

bool isBelow(const Statements& statements, const KeyPath& path) {
  return std::ranges::any_of(statements,
                             [&path](const TomlStatement& each) { return leadsTo(path, each.path); });
}

}  // namespace

std::optional<OrderedJson> parseToml(const std::string& text, std::string& error) {
  if (mostKeysJoined(text) > kMostKeysJoined) {
    error = "more than " + std::to_string(kMostKeysJoined) + " keys are joined with dots";
    return std::nullopt;
  }
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
  const Statements statements = statementsOf(text);
  if (const TomlStatement* const pair = pairOnTheWay(statements, path)) {
    const bool isOuter = pair->path != path;
    return withCutComments(
        text,
        isOuter ? withInlineMember(text, pair->valueBegin, withoutFirstKeys(path, pair->path.size()), value)
                : std::string(text).replace(pair->valueBegin, pair->end - pair->valueBegin, spelled(value)),
        *pair);
  }
  if (isBelow(statements, path)) return withTomlMember(withoutTomlMember(text, path), path, value);
  if (value.is_object()) return withNewTable(text, path, value);
  return withNewMember(text, statements, path, depthOfTable(statements, path), value);
}

std::string withoutTomlMember(const std::string& text, const KeyPath& path) {
  const Statements statements = statementsOf(text);
  const TomlStatement* const pair = pairOnTheWay(statements, path);
  if (pair != nullptr && pair->path != path)
    return withoutInlineMember(text, pair->valueBegin, withoutFirstKeys(path, pair->path.size()));
  std::string result = text;
  for (auto each = statements.rbegin(); each != statements.rend(); ++each) {
    if (!leadsTo(path, each->path)) continue;
    std::size_t begin = beginOfLine(text, each->begin);
    if (each->kind != Kind::kPair) begin = beginOfBlankLineBefore(text, begin);
    result.erase(begin, endOfLine(text, each->end) - begin);
  }
  return result;
}
