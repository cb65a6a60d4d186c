#include "companion/clients/random_settings.h"

#include <algorithm>
#include <functional>

namespace {

constexpr const char* kScalars[] = {"1",
                                    "-17",
                                    "0xf_f",
                                    "1_000",
                                    "1.5",
                                    "-0.0",
                                    "6.02e23",
                                    "inf",
                                    "-inf",
                                    "nan",
                                    "+nan",
                                    "true",
                                    "false",
                                    "1979-05-27",
                                    "07:32:00",
                                    "1979-05-27T07:32:00Z",
                                    "1979-05-27 07:32:00.5",
                                    "''",
                                    "\"\"",
                                    "'x'",
                                    "\"y\"",
                                    "'# no comment'",
                                    "\"# \\\"no\\\" comment\"",
                                    "'[table]'",
                                    "\"a = 1\"",
                                    "'\"'",
                                    "\"'\"",
                                    "\"\\\\\"",
                                    "'\\'",
                                    "\"\\u00e9\\U0001F600\"",
                                    "'\u00e9\U0001F600'",
                                    "\"\"\"\"\"\"",
                                    "''''''",
                                    "\"\"\"two\n[lines] # of text\n\"\"\"",
                                    "'''\n'quoted' # text'''",
                                    "\"\"\"ends in a quote\"\"\"\"",
                                    "'''ends in two'''''",
                                    "\"\"\"\\\n   joined \\\"\"\"\""};

/// Names that are used once for each table, as they may be spelled.
constexpr const char* kNames[] = {"model", "theme", "\"quoted key\"", "'literal.key'",
                                  "a-b_c", "12",    "\"\\u00e9\""};

constexpr const char* kIndents[] = {"", "", "", "", "  ", "\t"};
constexpr const char* kEquals[] = {" = ", "=", "  =\t"};

class TomlWriter {
 public:
  explicit TomlWriter(std::uint64_t seed) : random_(seed), lineEnd_(random_.oneIn(4) ? "\r\n" : "\n") {}

  RandomSettings write() {
    if (random_.oneIn(20)) text() += "\xEF\xBB\xBF";
    rootPairs();
    std::vector<std::function<void()>> sections = {[this] { otherTables(); }, [this] { servers(); }};
    if (random_.oneIn(2)) std::swap(sections[0], sections[1]);
    for (const auto& section : sections) section();
    noise();
    if (random_.oneIn(4)) text().erase(text().find_last_not_of("\r\n") + 1);
    return random_.settings;
  }

 private:
  std::string& text() { return random_.settings.text; }

  /// Blank lines and comments, which always stay.
  void noise() {
    const CommentFate fate = random_.fate;
    random_.fate = CommentFate::kStays;
    while (random_.oneIn(4)) text() += random_.oneIn(2) ? lineEnd_ : indent() + comment() + lineEnd_;
    random_.fate = fate;
  }
  std::string indent() { return random_.oneOf(kIndents); }
  std::string comment() { return random_.comment(random_.oneIn(2) ? "# " : "#"); }
  /// What may follow on a line.
  std::string rest() { return (random_.oneIn(4) ? " " + comment() : random_.oneIn(6) ? " " : "") + lineEnd_; }

  std::string array() {
    std::string elements = "[";
    const std::size_t count = random_.below(4);
    for (std::size_t at = 0; at < count; ++at) {
      if (random_.oneIn(3)) elements += (random_.oneIn(2) ? comment() : "") + lineEnd_;
      elements += random_.oneIn(6) ? array() : std::string(random_.oneOf(kScalars));
      if (at + 1 < count || random_.oneIn(3)) elements += random_.oneIn(2) ? ", " : ",";
    }
    if (random_.oneIn(3)) elements += (random_.oneIn(2) ? " " + comment() : "") + lineEnd_;
    return elements + "]";
  }
  std::string inlineTable() {
    std::string pairs = random_.oneIn(2) ? "{ " : "{";
    const std::size_t count = random_.below(3);
    for (std::size_t at = 0; at < count; ++at)
      pairs += (at == 0 ? "" : ", ") + std::string(kNames[at]) + random_.oneOf(kEquals) + value();
    return pairs + (random_.oneIn(2) ? " }" : "}");
  }
  std::string value() {
    const std::size_t kind = random_.below(8);
    if (kind == 0) return array();
    if (kind == 1) return inlineTable();
    return random_.oneOf(kScalars);
  }

  void pair(const std::string& key, const std::string& pairValue) {
    noise();
    text() += indent() + key + random_.oneOf(kEquals) + pairValue;
    text() += rest();
  }
  void header(const std::string& path) {
    noise();
    text() += indent() + (random_.oneIn(5) && path[0] != '[' ? "[ " + path + "\t]" : "[" + path + "]");
    text() += rest();
  }
  void somePairs(const std::string& prefix = {}) {
    for (const char* name : kNames)
      if (random_.oneIn(4)) pair(prefix + name, value());
  }
  void rootPairs() {
    somePairs();
    if (random_.oneIn(4)) pair("dotted . key", value());
  }
  void otherTables() {
    if (random_.oneIn(2)) {
      header("projects.\"/home/me\"");
      somePairs();
    }
    while (random_.oneIn(3)) {
      header("[rules]");
      somePairs();
    }
  }

  std::string dot() { return random_.oneIn(5) ? " . " : "."; }
  std::string serversKey() { return random_.oneIn(6) ? "\"mcp_servers\"" : "mcp_servers"; }
  std::string ourKey() { return random_.oneIn(6) ? "'orvane'" : "orvane"; }

  void servers() {
    const std::size_t form = random_.below(8);
    // What is in no table must come before the first header.
    if (form < 3 && text().find('[') != std::string::npos) return;
    if (form == 0) return inlineServers();
    if (form == 1) return dottedServers("mcp_servers" + dot());
    if (form == 2) return wrongServers();
    if (form < 5) {
      header(serversKey());
      if (random_.oneIn(2)) return dottedServers("");
    }
    if (random_.oneIn(2)) otherServer();
    if (!random_.oneIn(4)) ourTables();
    if (random_.oneIn(2)) thirdServer();
  }
  void otherServer() {
    header(serversKey() + dot() + "other");
    somePairs();
  }
  void thirdServer() {
    header(serversKey() + dot() + "third.env");
    somePairs();
  }
  void wrongServers() {
    random_.settings.mayBeRefused = true;
    pair("mcp_servers", random_.oneIn(2) ? array() : std::string(random_.oneOf(kScalars)));
  }

  /// Runs `write` for something of ours.
  void ours(const std::function<void()>& write, CommentFate fate = CommentFate::kGoesWithEntry) {
    const CommentFate outer = random_.fate;
    random_.fate = fate;
    write();
    random_.fate = outer;
  }
  std::string ourInlineTable() {
    std::vector<std::string> pairs;
    if (random_.oneIn(2)) pairs.push_back("command = '/old'");
    if (random_.oneIn(2)) pairs.push_back("\"args\" = " + array());
    if (random_.oneIn(2)) pairs.push_back(random_.oneIn(2) ? "env = " + environment() : "env.A = 'b'");
    if (random_.oneIn(2)) pairs.push_back("timeout = nan");
    std::string table = "{";
    for (const std::string& each : pairs) table += (&each == &pairs.front() ? " " : ", ") + each;
    return table + (random_.oneIn(2) ? " }" : "}");
  }
  std::string environment() {
    return random_.oneIn(2) ? "{}" : random_.oneIn(2) ? "{ TMPDIR = '/old' }" : "{A = 'b', B=\"c\"}";
  }
  void inlineServers() {
    std::string pairs;
    if (random_.oneIn(2)) pairs += "other = " + inlineTable();
    const CommentFate outer = random_.fate;
    random_.fate = CommentFate::kGoesWithEntry;
    if (random_.oneIn(2)) pairs += (pairs.empty() ? "" : ", ") + ourKey() + " = " + ourInlineTable();
    random_.fate = outer;
    pair(serversKey(), random_.oneIn(2) ? "{" + pairs + "}" : "{ " + pairs + " }");
  }
  void dottedServers(const std::string& prefix) {
    if (random_.oneIn(2)) pair(prefix + "other" + dot() + "command", value());
    ours([&] { ourPairs(prefix); });
    if (random_.oneIn(2)) pair(prefix + "third", inlineTable());
  }
  void ourPairs(const std::string& prefix) {
    const std::size_t form = random_.below(4);
    if (form == 0) return;
    if (form == 1) return pair(prefix + ourKey(), ourInlineTable());
    if (form == 2) return pair(prefix + ourKey(), random_.oneIn(2) ? array() : random_.oneOf(kScalars));
    ourMembers(prefix + ourKey() + dot());
  }
  /// Some members of our entry. Returns whether the environment is among them.
  bool ourMembers(const std::string& prefix) {
    if (random_.oneIn(2)) pair(prefix + "command", random_.oneIn(3) ? value() : "'/old'");
    if (random_.oneIn(2)) pair(prefix + "args", array());
    if (random_.oneIn(3)) pair(prefix + "enabled", "true");
    const std::size_t form = random_.below(6);
    if (form == 0) pair(prefix + "env", environment());
    if (form == 1) pair(prefix + "env" + dot() + "A", "'b'");
    if (form == 2) pair(prefix + "env.TMPDIR", "'/old'");
    return form < 3;
  }
  void ourTables() {
    const std::string path = serversKey() + dot() + ourKey();
    if (random_.oneIn(10))
      return ours(
          [&] {
            header("[" + path + "]");
            ourMembers("");
          },
          CommentFate::kGoesAlways);
    std::vector<std::function<void()>> tables;
    bool hasEnvironment = false;
    const bool hasOwn = !random_.oneIn(4);
    ours([&] {
      if (hasOwn) {
        header(path);
        hasEnvironment = ourMembers("");
      }
      if (!hasEnvironment && (!hasOwn || random_.oneIn(3))) {
        header(path + ".env" + (random_.oneIn(6) ? ".sub" : ""));
        if (random_.oneIn(2)) pair("A", "'b'");
        if (random_.oneIn(3)) pair("TMPDIR", "'/old'");
      }
    });
    if (random_.oneIn(3)) otherTablesBetween();
    if (random_.oneIn(4))
      ours([&] {
        header(path + ".tools." + (random_.oneIn(2) ? "\"x y\"" : "z"));
        somePairs();
      });
  }
  void otherTablesBetween() {
    header("between");
    somePairs();
  }

  RandomWriter random_;
  std::string lineEnd_;
};

}  // namespace

RandomSettings randomToml(std::uint64_t seed) {
  return TomlWriter(seed).write();
}
