// Our entry goes into random settings files and out of them again, and nothing else is lost.
//
// ORVANE_RANDOM_EDITS sets how many operations each test makes, ORVANE_RANDOM_SEED the first seed; a failure
// prints its seed.

#include "companion/clients/client_text.h"
#include "companion/clients/json_text.h"
#include "companion/clients/random_settings.h"
#include "companion/clients/toml_text.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

constexpr std::uint64_t kOperations = 6000;
constexpr std::uint64_t kOperationsPerText = 3;

std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

Client clientFor(ClientFormat format, const std::string& servers) {
  return {.id = "any",
          .name = "Any",
          .file = "/file",
          .format = format,
          .servers = {servers},
          .entry = {{"command", "$PROGRAM"}, {"args", "$ARGUMENTS"}},
          .environment = "env",
          .signs = {},
          .needs = {}};
}

class RandomEdits {
 public:
  RandomEdits(Client client, RandomSettings (*make)(std::uint64_t seed))
      : client_(std::move(client)), make_(make) {}

  void run() {
    const std::uint64_t first = numberFrom("ORVANE_RANDOM_SEED", 1);
    const std::uint64_t count = numberFrom("ORVANE_RANDOM_EDITS", kOperations) / kOperationsPerText;
    for (seed_ = first; seed_ < first + count && !testing::Test::HasFailure(); ++seed_) {
      settings_ = make_(seed_);
      tryOne();
    }
    EXPECT_EQ(invalid_, 0U) << "texts that should parse do not, of " << count;
    EXPECT_LT(refused_, count / 5 + 1) << "most texts can be edited";
  }

 private:
  std::optional<nlohmann::json> valueOf(const std::string& text) {
    std::string error;
    const std::optional<OrderedJson> value = client_.format == ClientFormat::kToml
                                                 ? parseToml(text, error)
                                                 : parseJson(text, JsonDialect::kCommented, error);
    if (value) return nlohmann::json(*value);
    // A client takes a file without a value for an empty one.
    const bool isVoid = text.find_first_of("{[") == std::string::npos;
    if (isVoid && client_.format != ClientFormat::kToml) return nlohmann::json::object();
    return std::nullopt;
  }

  void tryOne() {
    const std::optional<nlohmann::json> before = valueOf(settings_.text);
    if (!before) {
      ++invalid_;
      ADD_FAILURE() << where() << "does not parse:\n" << settings_.text;
      return;
    }
    const OrderedJson entry = entryFor(client_, launch());
    const std::string entered = checkEntering(*before, entry);
    checkTakingOut(settings_.text, *before, entered.empty());
    if (!entered.empty()) checkTakingOut(entered, valueOf(entered).value_or(nullptr), false);
  }

  Launch launch() const {
    Launch launch{"/usr/bin/orvane-mcp", {"serve", "--server", "/a b/\"c\"\x7F"}, {}};
    if (seed_ % 2 == 0) launch.environment["TMPDIR"] = "/run/\u00e9\\";
    return launch;
  }

  /// Returns the text with the entry, or nothing when it was refused.
  std::string checkEntering(const nlohmann::json& before, const OrderedJson& entry) {
    const TextEdit edit = withEntry(client_, settings_.text, entry);
    if (isRefused(edit)) return {};
    nlohmann::json expected = before;
    nlohmann::json& servers = expected[client_.servers.front()];
    if (!servers["orvane"].is_object()) servers["orvane"] = nlohmann::json::object();
    for (const auto& [key, value] : entry.items()) {
      nlohmann::json& member = servers["orvane"][key];
      if (value.is_object() && member.is_object()) {
        member.update(nlohmann::json(value));
      } else {
        member = nlohmann::json(value);
      }
    }
    EXPECT_EQ(valueOf(edit.text), expected) << where() << settings_.text << "\n--- became ---\n" << edit.text;
    expectComments(edit.text, CommentFate::kGoesAlways);
    expectByteOrderMark(edit.text);
    const TextEdit again = withEntry(client_, edit.text, entry);
    EXPECT_EQ(again.error, "") << where() << edit.text;
    EXPECT_EQ(again.text, edit.text) << where() << "a second time changes something";
    return edit.text;
  }

  void checkTakingOut(const std::string& text, nlohmann::json expected, bool enteringWasRefused) {
    const TextEdit edit = withoutEntry(client_, text);
    if (isRefused(edit) || enteringWasRefused) return;
    const std::string& servers = client_.servers.front();
    if (expected.contains(servers)) expected[servers].erase("orvane");
    nlohmann::json actual = valueOf(edit.text).value_or(nullptr);
    if (expected.contains(servers) && expected[servers].empty() && actual.is_object()) {
      expected.erase(servers);
      EXPECT_TRUE(actual.value(servers, nlohmann::json::object()).empty()) << where() << edit.text;
      actual.erase(servers);
    }
    EXPECT_EQ(actual, expected) << where() << text << "\n--- became ---\n" << edit.text;
    expectComments(edit.text, CommentFate::kGoesWithEntry);
    expectByteOrderMark(edit.text);
  }

  void expectByteOrderMark(const std::string& text) {
    EXPECT_EQ(text.starts_with(kByteOrderMark), settings_.text.starts_with(kByteOrderMark))
        << where() << text;
  }

  bool isRefused(const TextEdit& edit) {
    if (edit.error.empty()) return false;
    EXPECT_TRUE(settings_.mayBeRefused) << where() << edit.error << "\n" << settings_.text;
    ++refused_;
    return true;
  }

  /// Those stay whose fate is before `gone`.
  void expectComments(const std::string& text, CommentFate gone) {
    for (const auto& [comment, fate] : settings_.comments) {
      if (fate >= gone) continue;
      const std::size_t at = text.find(comment);
      EXPECT_TRUE(at != std::string::npos && text.find(comment, at + 1) == std::string::npos)
          << where() << comment << " is lost or doubled in\n"
          << settings_.text << "\n--- became ---\n"
          << text;
    }
  }

  std::string where() const { return "seed " + std::to_string(seed_) + ": "; }

  Client client_;
  RandomSettings (*make_)(std::uint64_t seed);
  std::uint64_t seed_ = 0;
  RandomSettings settings_ = {};
  std::uint64_t refused_ = 0;
  std::uint64_t invalid_ = 0;
};

TEST(RandomEdits, LoseNothingInToml) {
  RandomEdits(clientFor(ClientFormat::kToml, "mcp_servers"), randomToml).run();
}

TEST(RandomEdits, LoseNothingInJson) {
  RandomEdits(clientFor(ClientFormat::kCommentedJson, "servers"), randomJson).run();
}

}  // namespace
