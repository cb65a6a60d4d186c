#include "companion/clients/random_settings.h"

#include <functional>
#include <utility>

namespace {

constexpr const char* kScalars[] = {"1",
                                    "-1.50",
                                    "1e2",
                                    "0.0",
                                    "true",
                                    "false",
                                    "null",
                                    "\"\"",
                                    "\"x\"",
                                    "\"}\"",
                                    "\"]{\"",
                                    "\"// no comment\"",
                                    "\"/* none */\"",
                                    "\",]\"",
                                    "\"\\\"\"",
                                    "\"\\\\\"",
                                    "\"\\u00e9\\ud83d\\ude00\"",
                                    "\"\u00e9\U0001F600\"",
                                    "18446744073709551615"};
constexpr const char* kNames[] = {"\"model\"",   "\"theme\"", "\"a.b\"", "\"\"",
                                  "\"\\u0061\"", "\"{\"",     "\"//\""};

class JsonWriter {
 public:
  explicit JsonWriter(std::uint64_t seed) : random_(seed), lineEnd_(random_.oneIn(4) ? "\r\n" : "\n") {}

  RandomSettings write() {
    if (random_.oneIn(20)) text() += "\xEF\xBB\xBF";
    blanks();
    if (!random_.oneIn(30)) root();
    blanks();
    return random_.settings;
  }

 private:
  using Members = std::vector<std::pair<std::string, std::function<void()>>>;

  std::string& text() { return random_.settings.text; }

  void blanks() {
    while (random_.oneIn(3)) {
      const std::size_t kind = random_.below(6);
      if (kind < 2) text() += lineEnd_;
      if (kind == 2) text() += " ";
      if (kind == 3) text() += "\t";
      if (kind == 4) text() += random_.comment("/* ", " */");
      if (kind == 5) text() += random_.comment("//", lineEnd_);
    }
  }

  void object(const Members& members) {
    text() += "{";
    blanks();
    for (const auto& [key, writeValue] : members) {
      const CommentFate outer = random_.fate;
      text() += key;
      const bool isOurs = key == kOurKey || key == kOurEscapedKey;
      if (isOurs) random_.fate = CommentFate::kGoesWithEntry;
      blanks();
      text() += ":";
      blanks();
      writeValue();
      random_.fate = outer;
      blanks();
      const bool isLast = &key == &members.back().first;
      if (!isLast || random_.oneIn(4)) {
        text() += ",";
        blanks();
      }
    }
    text() += "}";
  }
  void array() {
    text() += "[";
    blanks();
    const std::size_t count = random_.below(4);
    for (std::size_t at = 0; at < count; ++at) {
      value();
      blanks();
      if (at + 1 < count || random_.oneIn(4)) {
        text() += ",";
        blanks();
      }
    }
    text() += "]";
  }
  void scalar() { text() += random_.oneOf(kScalars); }
  void value() {
    const std::size_t kind = random_.below(8);
    if (kind == 0) return array();
    if (kind == 1) return object(someMembers());
    scalar();
  }
  Members someMembers() {
    Members members;
    for (const char* name : kNames)
      if (random_.oneIn(5)) members.emplace_back(name, [this] { value(); });
    return members;
  }
  void put(Members& members, const std::string& key, const std::function<void()>& writeValue) {
    const auto place = members.begin() + static_cast<std::ptrdiff_t>(random_.below(members.size() + 1));
    members.emplace(place, key, writeValue);
  }

  void root() {
    Members members = someMembers();
    if (!random_.oneIn(4)) put(members, "\"servers\"", [this] { servers(); });
    if (random_.oneIn(40)) {
      put(members, "\"servers\"", [this] { servers(); });
      random_.settings.mayBeRefused = true;
    }
    object(members);
  }
  void servers() {
    if (random_.oneIn(20)) {
      random_.settings.mayBeRefused = true;
      return value();
    }
    Members members = someMembers();
    if (!random_.oneIn(3)) put(members, random_.oneIn(8) ? kOurEscapedKey : kOurKey, [this] { entry(); });
    if (random_.oneIn(40)) {
      put(members, kOurKey, [this] { entry(); });
      random_.settings.mayBeRefused = true;
    }
    object(members);
  }
  void entry() {
    if (random_.oneIn(10)) return random_.oneIn(2) ? array() : scalar();
    Members members = someMembers();
    if (random_.oneIn(2)) put(members, "\"command\"", [this] { value(); });
    if (random_.oneIn(2)) put(members, "\"args\"", [this] { array(); });
    if (random_.oneIn(2)) put(members, "\"env\"", [this] { environment(); });
    object(members);
  }
  void environment() {
    if (random_.oneIn(10)) return random_.oneIn(2) ? array() : scalar();
    Members members = someMembers();
    if (random_.oneIn(3)) put(members, "\"TMPDIR\"", [this] { value(); });
    object(members);
  }

  static constexpr char kOurKey[] = "\"orvane\"";
  static constexpr char kOurEscapedKey[] = "\"orv\\u0061ne\"";

  RandomWriter random_;
  std::string lineEnd_;
};

}  // namespace

RandomSettings randomJson(std::uint64_t seed) {
  return JsonWriter(seed).write();
}
