#include "devhost/demo/conversation.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace {

constexpr int kToolCount = 34;
constexpr const char* kComment = "Looked at by the demonstration.";
constexpr const char* kNewName = "the_procedure_we_looked_at";
constexpr const char* kBookmark = "start reading here";
constexpr const char* kImpossible = "no_such_label";

QString callText(const QString& tool, const QJsonObject& arguments) {
  return tool + " " + QString::fromUtf8(QJsonDocument(arguments).toJson(QJsonDocument::Compact));
}

QStringList plainLines(const Answer& answer) {
  return answer.text.trimmed().split('\n');
}

/// A symbol as its source has it, for a person to read; other names as they are.
QString readable(const QString& name) {
  const std::unique_ptr<char, decltype(&std::free)> demangled(
      abi::__cxa_demangle(name.toUtf8().constData(), nullptr, nullptr, nullptr), &std::free);
  if (demangled == nullptr) return name;
  return QString(demangled.get())
      .replace("std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
               "std::string");
}

/// One line for each member of an object of texts.
QStringList memberLines(const Answer& answer) {
  QStringList lines;
  const QJsonObject members = answer.object();
  for (auto member = members.begin(); member != members.end(); ++member) {
    lines << QString("%1  %2").arg(member.key(), readable(member.value().toString().simplified()));
  }
  return lines;
}

/// One line for each text of an array.
QStringList itemLines(const Answer& answer) {
  QStringList lines;
  for (const QJsonValue item : answer.array()) lines << readable(item.toString());
  return lines.isEmpty() ? QStringList{"(none)"} : lines;
}

QStringList segmentLines(const Answer& answer) {
  QStringList lines;
  for (const QJsonValue segment : answer.array()) {
    lines << QString("%1 - %2  %3, %4 sections")
                 .arg(segment["start"].toString(), segment["end"].toString(), segment["name"].toString())
                 .arg(segment["section"].toArray().size());
  }
  return lines;
}

QStringList bookmarkLines(const Answer& answer) {
  QStringList lines;
  for (const QJsonValue bookmark : answer.array()) {
    lines << QString("%1  %2").arg(bookmark["address"].toString(), bookmark["name"].toString());
  }
  return lines;
}

bool isJson(const Answer& answer) {
  return answer.error.isEmpty() && !QJsonDocument::fromJson(answer.text.toUtf8()).isNull();
}

bool hasItems(const Answer& answer) {
  return answer.error.isEmpty() && !answer.array().isEmpty();
}

bool hasMembers(const Answer& answer) {
  return answer.error.isEmpty() && !answer.object().isEmpty();
}

bool hasText(const Answer& answer) {
  return answer.error.isEmpty() && !answer.text.isEmpty();
}

}  // namespace

template <typename Check, typename Lines>
Answer Conversation::ask(const QString& question, const QString& tool, const QJsonObject& arguments,
                         Check check, Lines lines) {
  Answer answer = callTool(server_, tool, arguments);
  const QStringList shown = answer.error.isEmpty() ? lines(answer) : QStringList{"error: " + answer.error};
  transcript_.exchange(question, callText(tool, arguments), shown, check(answer));
  return answer;
}

void Conversation::hold() {
  introduce();
  lookAround();
  findProcedure();
  readProcedure();
  followReferences();
  searchStrings();
  takeNotes();
  askForTheImpossible();
  transcript_.summary();
}

void Conversation::introduce() {
  const QJsonObject welcome = resultOf(server_, "initialize");
  const QJsonObject info = welcome["serverInfo"].toObject();
  const QString line =
      QString("%1 %2, protocol %3")
          .arg(info["name"].toString(), info["version"].toString(), welcome["protocolVersion"].toString());
  transcript_.exchange("Who are you?", "initialize", {line}, info["name"] == "OrvaneMCPServer");
  server_.notify("notifications/initialized");

  const QJsonArray tools = resultOf(server_, "tools/list")["tools"].toArray();
  QStringList names;
  for (const QJsonValue tool : tools) names << tool["name"].toString();
  transcript_.exchange("What can you do?", "tools/list",
                       {QString("%1 tools, from %2 to %3")
                            .arg(names.size())
                            .arg(names.value(0), names.value(names.size() - 1))},
                       names.size() == kToolCount);
}

void Conversation::lookAround() {
  ask(
      "Which files are open?", "list_documents", {},
      [this](const Answer& answer) { return answer.array().contains(documentName_); }, itemLines);
  ask("How is it laid out in memory?", "list_segments", {}, hasItems, segmentLines);
}

void Conversation::findProcedure() {
  // Names that programs tend to have; a file without symbols has only names that the host made up.
  const QString usual = "handle(Message|Tools|Initialize)|main$|start$|init$";
  const bool namesAreUsual = hasMembers(callTool(server_, "search_procedures", {{"pattern", usual}}));
  const Answer found =
      ask("Which procedures sound like a beginning?", "search_procedures",
          {{"pattern", namesAreUsual ? usual : "."}, {"case_sensitive", false}}, hasMembers, memberLines);

  // The one that most is to be said about: called from somewhere, and calling others.
  const QJsonObject names = found.object();
  address_ = names.keys().value(0);
  for (const QString& address : names.keys().mid(0, 50)) {
    const bool isFragment = names[address].toString().endsWith(".cold");  // the rare paths of another one
    const auto hasAny = [this, &address](const char* tool) {
      return !callTool(server_, tool, {{"procedure", address}}).array().isEmpty();
    };
    if (isFragment || !hasAny("procedure_callers")) continue;
    address_ = address;
    if (hasAny("procedure_callees")) break;
  }
}

void Conversation::readProcedure() {
  ask("Show me the code of the one at " + address_ + ".", "procedure_assembly", {{"procedure", address_}},
      hasText, plainLines);
}

void Conversation::followReferences() {
  const auto isArray = [](const Answer& answer) { return isJson(answer) && answer.text.startsWith('['); };
  const Answer callers =
      ask("Who calls it?", "procedure_callers", {{"procedure", address_}}, isArray, itemLines);
  ask("And whom does it call?", "procedure_callees", {{"procedure", address_}}, isArray, itemLines);
  ask(
      "From which instructions is it reached?", "xrefs", {{"address", address_}},
      [&](const Answer& answer) {
        return isArray(answer) && answer.array().isEmpty() == callers.array().isEmpty();
      },
      itemLines);
}

void Conversation::searchStrings() {
  ask("Does it hold messages about errors?", "search_strings",
      {{"pattern", "error|fail|invalid|unknown"}, {"case_sensitive", false}}, isJson, memberLines);
}

void Conversation::takeNotes() {
  const QJsonObject here{{"address", address_}};
  const auto with = [&here](const char* key, const char* value) {
    QJsonObject arguments = here;
    arguments[QLatin1StringView(key)] = value;
    return arguments;
  };

  ask("Note something there.", "set_comment", with("comment", kComment), hasText, plainLines);
  ask(
      "What does the note say?", "comment", here,
      [](const Answer& answer) { return answer.text == kComment; }, plainLines);
  ask("Give it a name of ours.", "set_address_name", with("name", kNewName), hasText, plainLines);
  ask(
      "Is it found by that name?", "procedure_address", {{"procedure", kNewName}},
      [this](const Answer& answer) { return answer.text == address_; }, plainLines);
  ask("Mark the place.", "set_bookmark", with("name", kBookmark), hasText, plainLines);
  ask(
      "Which places are marked?", "list_bookmarks", {},
      [](const Answer& answer) { return answer.array().at(0)["name"] == kBookmark; }, bookmarkLines);
}

void Conversation::askForTheImpossible() {
  ask(
      "Go to a place that does not exist.", "goto_address", {{"address", kImpossible}},
      [](const Answer& answer) { return answer.error.contains(kImpossible); }, plainLines);
}
