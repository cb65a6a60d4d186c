#include "companion/clients/json_text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::size_t kNowhere = std::string::npos;
constexpr std::string_view kWhiteSpace = " \t\r\n";

/// Copying and comparing values calls itself for each level: more could take all of the stack.
constexpr int kMostLevels = 500;

/// Behind the string that begins at `at`, or the end of a text that breaks off.
std::size_t endOfString(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at)
    if (text[at] == '\\') ++at;
  return std::min(at + 1, text.size());
}

/// Behind the comment that begins at `at`, or `at` when none does.
std::size_t endOfComment(std::string_view text, std::size_t at) {
  const std::string_view start = text.substr(at, 2);
  if (start != "//" && start != "/*") return at;
  const std::string_view mark = start == "//" ? "\n" : "*/";
  const std::size_t end = text.find(mark, at + 2);
  return end == kNowhere ? text.size() : end + mark.size();
}

/// The first place from `at` on that is neither white space nor comment.
std::size_t skipBlanks(std::string_view text, std::size_t at) {
  while (true) {
    at = std::min(text.find_first_not_of(kWhiteSpace, at), text.size());
    const std::size_t end = endOfComment(text, at);
    if (end == at) return at;
    at = end;
  }
}

/// Behind the value that begins at `at`. Brackets are only counted: that they match was seen by the parser.
std::size_t endOfValue(std::string_view text, std::size_t at) {
  std::size_t depth = 0;
  do {
    const char c = text[at];
    if (c == '"') {
      at = endOfString(text, at);
    } else if (c == '{' || c == '[') {
      ++depth;
      ++at;
    } else if (c == '}' || c == ']') {
      --depth;
      ++at;
    } else if (depth > 0) {
      at = std::max(endOfComment(text, at), at + 1);
    } else {
      return std::min(text.find_first_of(" \t\r\n,}]/", at), text.size());
    }
  } while (depth > 0);
  return at;
}

/// The same length, with blanks for the commas behind last members, which the parser does not take.
std::string withoutTrailingCommas(std::string text) {
  char last = '{';  // before `at`, blanks apart: behind one of these a comma is a mistake
  for (std::size_t at = skipBlanks(text, 0); at < text.size(); at = skipBlanks(text, at)) {
    const char c = text[at];
    const std::size_t end = c == '"' ? endOfString(text, at) : at + 1;
    const std::size_t next = skipBlanks(text, end);
    const bool isLast = next < text.size() && (text[next] == '}' || text[next] == ']');
    if (c == ',' && isLast && std::string_view("{[,:").find(last) == kNowhere) text[at] = ' ';
    last = c;
    at = end;
  }
  return text;
}

struct Member {
  std::string key = {};
  std::size_t begin = 0;  ///< of the key
  std::size_t valueBegin = 0;
  std::size_t valueEnd = 0;
  std::size_t comma = kNowhere;  ///< the one behind it, if any
};

struct Object {
  std::size_t open = 0;   ///< of the opening brace
  std::size_t close = 0;  ///< of the closing brace
  std::vector<Member> members = {};
};

Object readObject(std::string_view text, std::size_t open) {
  Object object{.open = open};
  std::size_t at = skipBlanks(text, open + 1);
  while (text[at] != '}') {
    Member member{.begin = at};
    const std::size_t keyEnd = endOfString(text, at);
    member.key = OrderedJson::parse(text.substr(at, keyEnd - at)).get<std::string>();
    member.valueBegin = skipBlanks(text, skipBlanks(text, keyEnd) + 1);
    member.valueEnd = endOfValue(text, member.valueBegin);
    at = skipBlanks(text, member.valueEnd);
    if (text[at] == ',') {
      member.comma = at;
      at = skipBlanks(text, at + 1);
    }
    object.members.push_back(std::move(member));
  }
  object.close = at;
  return object;
}

/// Where the text proper begins.
std::size_t beginOf(std::string_view text) {
  return text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
}

Object outermostObject(std::string_view text) {
  return readObject(text, skipBlanks(text, beginOf(text)));
}

/// Of members with the same key the last one counts, for parsers as for us.
const Member* find(const Object& object, const std::string& key) {
  const auto found = std::find_if(object.members.rbegin(), object.members.rend(),
                                  [&key](const Member& member) { return member.key == key; });
  return found == object.members.rend() ? nullptr : &*found;
}

/// The white space at the start of the line that `at` is in.
std::string indentAt(std::string_view text, std::size_t at) {
  const std::size_t lineBegin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;
  const std::size_t end = std::min(text.find_first_not_of(" \t", lineBegin), text.size());
  return std::string(text.substr(lineBegin, end - lineBegin));
}

/// By how much one level is indented: as the first member of the outermost object is.
std::string indentUnit(std::string_view text) {
  const Object outermost = outermostObject(text);
  if (outermost.members.empty()) return "  ";
  const std::string unit = indentAt(text, outermost.members.front().begin);
  return unit.empty() ? "  " : unit;
}

/// `value` as it is to stand in `text` on a line that begins with `indent`.
std::string spelled(const OrderedJson& value, std::string_view text, const std::string& indent) {
  const std::string unit = indentUnit(text);
  const std::string lines = value.dump(static_cast<int>(unit.size()), unit.front());
  std::string result;
  for (const char c : lines) {
    if (c == '\n') {
      result.append(lineEndOf(text)).append(indent);
    } else {
      result += c;
    }
  }
  return result;
}

bool isOnOneLine(std::string_view text, const Object& object) {
  return text.substr(object.open, object.close - object.open).find('\n') == kNowhere;
}

/// Behind the last thing in `object` that is not white space, comments included.
std::size_t endOfContent(std::string_view text, const Object& object) {
  return text.find_last_not_of(kWhiteSpace, object.close - 1) + 1;
}

std::string withNewMember(std::string text, const Object& object, const std::string& key,
                          const OrderedJson& value) {
  const bool isEmpty = object.members.empty();
  const bool oneLine = isOnOneLine(text, object) && !isEmpty;
  const std::string outer = indentAt(text, object.open);
  std::string indent = outer + indentUnit(text);
  if (!isEmpty && !oneLine) indent = indentAt(text, object.members.front().begin);

  const std::string name = OrderedJson(key).dump() + ": ";
  const std::string separator = oneLine ? " " : std::string(lineEndOf(text)) + indent;
  std::string addition = separator + name + (oneLine ? value.dump() : spelled(value, text, indent));
  const std::size_t at = endOfContent(text, object);
  if (isOnOneLine(text, object) && isEmpty) addition.append(lineEndOf(text)).append(outer);
  text.insert(at, addition);
  // Right behind the last value, so that a comment behind that stays with it.
  if (!isEmpty && object.members.back().comma == kNowhere) text.insert(object.members.back().valueEnd, ",");
  return text;
}

/// The comments in `value`, each without the line feed that ends it.
std::vector<std::string> commentsIn(std::string_view value) {
  std::vector<std::string> comments;
  for (std::size_t at = 0; at < value.size();) {
    const std::size_t end = endOfComment(value, at);
    if (end > at) {
      const std::string_view comment = value.substr(at, end - at);
      comments.emplace_back(comment.substr(0, comment.find_last_not_of("\r\n") + 1));
      at = end;
    } else {
      at = value[at] == '"' ? endOfString(value, at) : at + 1;
    }
  }
  return comments;
}

std::string withReplacedValue(std::string text, const Member& member, const OrderedJson& value) {
  const std::string indent = indentAt(text, member.begin);
  std::string comments;
  for (const std::string& comment :
       commentsIn(std::string_view(text).substr(member.valueBegin, member.valueEnd - member.valueBegin)))
    comments.append(comment).append(lineEndOf(text)).append(indent);
  const std::string spelling = spelled(value, text, indent);
  text.replace(member.valueBegin, member.valueEnd - member.valueBegin, spelling);
  return text.insert(member.begin, comments);
}

}  // namespace

std::string withObjectIfVoid(const std::string& text, JsonDialect dialect) {
  const std::size_t begin = beginOf(text);
  const std::size_t value = dialect == JsonDialect::kCommented
                                ? skipBlanks(text, begin)
                                : std::min(text.find_first_not_of(kWhiteSpace, begin), text.size());
  if (value < text.size()) return text;
  const bool isBlank = text.find_first_not_of(kWhiteSpace, begin) == kNowhere;
  std::string result = isBlank ? text.substr(0, begin) : text;
  if (!isBlank && result.back() != '\n') result += lineEndOf(text);
  return result.append("{}").append(lineEndOf(text));
}

std::optional<OrderedJson> parseJson(const std::string& text, JsonDialect dialect, std::string& error) {
  const bool commented = dialect == JsonDialect::kCommented;
  bool isTooDeep = false;
  const auto watchDepth = [&isTooDeep](int depth, OrderedJson::parse_event_t, const OrderedJson&) {
    isTooDeep = isTooDeep || depth > kMostLevels;
    return true;
  };
  try {
    OrderedJson value =
        OrderedJson::parse(commented ? withoutTrailingCommas(text) : text, watchDepth, true, commented);
    if (!isTooDeep) return value;
    error = "values are nested in more than " + std::to_string(kMostLevels) + " levels";
    return std::nullopt;
  } catch (const OrderedJson::exception& exception) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: what is wrong"
    const std::string what = exception.what();
    const std::string_view place = " at line ";
    const std::size_t at = what.find(place);
    error = at == kNowhere ? what.substr(what.find("] ") + 2) : what.substr(at + 4);
    return std::nullopt;
  }
}

const OrderedJson* memberAt(const OrderedJson& root, const KeyPath& path) {
  const OrderedJson* value = &root;
  for (const std::string& key : path) {
    if (!value->is_object() || !value->contains(key)) return nullptr;
    value = &(*value)[key];
  }
  return value;
}

std::string withMember(const std::string& text, const KeyPath& path, const OrderedJson& value) {
  Object object = outermostObject(text);
  for (std::size_t level = 0; level < path.size(); ++level) {
    const Member* member = find(object, path[level]);
    if (member == nullptr) {
      OrderedJson missing = value;
      for (std::size_t inner = path.size() - 1; inner > level; --inner)
        missing = OrderedJson::object({{path[inner], missing}});
      return withNewMember(text, object, path[level], missing);
    }
    if (level + 1 == path.size()) return withReplacedValue(text, *member, value);
    object = readObject(text, member->valueBegin);
  }
  return text;
}

std::string withoutMember(const std::string& text, const KeyPath& path) {
  Object object = outermostObject(text);
  for (std::size_t level = 0; level + 1 < path.size(); ++level)
    object = readObject(text, find(object, path[level])->valueBegin);
  const Member* const member = find(object, path.back());

  std::string result = text;
  const bool hasComma = member->comma != kNowhere;
  std::size_t end = member->valueEnd;
  if (hasComma && text.find_first_not_of(kWhiteSpace, end) == member->comma) {
    end = member->comma + 1;
  } else if (hasComma) {
    result.erase(member->comma, 1);  // a comment before it stays
  }
  std::size_t begin = text.find_last_not_of(kWhiteSpace, member->begin - 1) + 1;
  // What follows on the same line must not move up into a comment that ends the line before.
  const std::size_t next = std::min(text.find_first_not_of(" \t\r", end), text.size() - 1);
  const bool isAnotherLine = text.substr(begin, member->begin - begin).find('\n') != kNowhere;
  const bool mayMoveUp = !hasComma && (!isAnotherLine || text.substr(next, 2) == "//");
  if (text[next] != '\n' && !mayMoveUp) begin = member->begin;
  result.erase(begin, end - begin);
  const bool isFirst = member == &object.members.front();
  if (!hasComma && !isFirst) result.erase((member - 1)->comma, 1);
  const bool wasAlone = object.members.size() == 1;
  const std::size_t rest = result.find_first_not_of(kWhiteSpace, object.open + 1);
  if (wasAlone && result[rest] == '}') result.erase(object.open + 1, rest - object.open - 1);
  return result;
}
