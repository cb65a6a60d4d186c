#include "companion/call/repl.h"

#include "companion/call/history_file.h"
#include "companion/call/interrupts.h"
#include "companion/call/line_editor.h"
#include "companion/call/tool_text.h"
#include "companion/common/command.h"
#include "companion/common/printing.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr char kPrompt[] = "orvane> ";
constexpr char kBlanks[] = " \t";
constexpr int kNoDescriptor = -1;
constexpr const char* kSessionWords[] = {"help", "quit"};

/// Where the first word of `line` begins and ends.
std::pair<std::size_t, std::size_t> firstWordOf(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(kBlanks);
  return {begin, line.find_first_of(kBlanks, begin)};
}

std::vector<std::string> firstWords(const std::vector<Tool>& tools) {
  std::vector<std::string> words;
  words.reserve(tools.size() + std::size(kSessionWords));
  for (const Tool& tool : tools) words.push_back(tool.name + ' ');
  for (const char* word : kSessionWords) words.push_back(std::string(word) + ' ');
  return words;
}

/// The words that could come behind `line`, which ends in a blank or in the middle of one.
std::vector<std::string> argumentWords(const std::string& line, const std::string& word, const Tool& tool) {
  std::vector<std::string> words;
  for (const ToolArgument& argument : tool.arguments) {
    const std::string key = argument.name + '=';
    if (word.starts_with(key) && argument.type == "boolean") return {key + "true ", key + "false "};
    if (line.find(' ' + key) == std::string::npos) words.push_back(key);
  }
  return words;
}

/// The words of `line`. Arguments that are written as one JSON object keep their quotation marks.
std::optional<std::vector<std::string>> wordsOf(const std::string& line, std::string& error) {
  const auto [tool, toolEnd] = firstWordOf(line);
  const std::size_t arguments = line.find_first_not_of(kBlanks, toolEnd);
  if (arguments != std::string::npos && line[arguments] == '{')
    return std::vector<std::string>{line.substr(tool, toolEnd - tool), line.substr(arguments)};
  return splitWords(line, error);
}

/// What a line is worth: a mistake, which is empty when there is none, or the end.
struct LineOutcome {
  std::string mistake = {};
  bool isLast = false;
};

/// A session of calls.
class Repl {
 public:
  explicit Repl(ToolCaller& caller);

  int run();

 private:
  LineOutcome obey(const std::string& line);
  std::string help(const std::vector<std::string>& names) const;
  std::string callTool(std::vector<std::string> words);
  void complainOf(const std::string& mistake);

  ToolCaller& caller_;
  std::unique_ptr<Interrupts> interrupts_;  ///< null without a terminal
  LineEditor editor_;
  int lineNumber_ = 0;
  bool anyFailed_ = false;
};

Repl::Repl(ToolCaller& caller)
    : caller_(caller),
      interrupts_(::isatty(STDIN_FILENO) != 0 ? std::make_unique<Interrupts>() : nullptr),
      editor_(
          kPrompt, [this](const std::string& line) { return completionsOf(line, caller_.tools()); },
          interrupts_.get(), HistoryFile(historyPath())) {
  if (interrupts_) caller_.interruptBy(interrupts_->descriptor());
}

int Repl::run() {
  while (const std::optional<std::string> line = editor_.readLine()) {
    ++lineNumber_;
    const LineOutcome outcome = obey(*line);
    if (!outcome.mistake.empty()) complainOf(outcome.mistake);
    if (outcome.isLast) break;
    flushOutput();
  }
  caller_.interruptBy(kNoDescriptor);
  if (std::ferror(stdin) != 0) {
    complain(QStringLiteral("cannot read standard input"));
    return kFailure;
  }
  return anyFailed_ && !interrupts_ ? kFailure : kSuccess;
}

LineOutcome Repl::obey(const std::string& line) {
  LineOutcome outcome;
  std::optional<std::vector<std::string>> words = wordsOf(line, outcome.mistake);
  if (!words || words->empty()) return outcome;
  const std::string first = words->front();
  if (first == "quit") return {.isLast = true};
  if (first == "help") {
    words->erase(words->begin());
    return {.mistake = help(*words)};
  }
  return {.mistake = callTool(std::move(*words))};
}

std::string Repl::help(const std::vector<std::string>& names) const {
  if (names.empty()) {
    printUsages(caller_.tools());
    print("help TOOL tells more of one; quit ends.\n");
  }
  const std::optional<std::string> unknown = describeTools(names, caller_.tools());
  return unknown ? thereIsNoTool(*unknown, caller_.tools(), "help names them") : std::string();
}

/// Makes the call that `words` say. Returns the mistake, or nothing.
std::string Repl::callTool(std::vector<std::string> words) {
  const Tool* const tool = findTool(caller_.tools(), words.front());
  if (tool == nullptr) return thereIsNoTool(words.front(), caller_.tools(), "help names them");
  words.erase(words.begin());
  std::string error;
  const auto arguments = readArguments(*tool, words, error);
  if (!arguments) return error;
  const CallOutcome outcome = caller_.call(*tool, *arguments);
  const auto isInterrupted = [this] { return interrupts_ && interrupts_->take(); };
  // The terminal has shown "^C" at the start of the line.
  if (isInterrupted()) print("\n");
  if (outcome.error.empty()) printResult(outcome.text, isInterrupted);
  return outcome.error;
}

void Repl::complainOf(const std::string& mistake) {
  anyFailed_ = true;
  flushOutput();
  const std::string place = interrupts_ ? std::string() : "line " + std::to_string(lineNumber_) + ": ";
  complain(QString::fromStdString(place + mistake));
}

}  // namespace

std::vector<std::string> completionsOf(const std::string& line, const std::vector<Tool>& tools) {
  const std::size_t wordBegin = line.find_last_of(kBlanks) + 1;
  const std::string word = line.substr(wordBegin);
  const auto [firstBegin, firstEnd] = firstWordOf(line);
  std::vector<std::string> words;
  if (firstBegin == std::string::npos || firstBegin == wordBegin) {
    words = firstWords(tools);
  } else {
    const std::string first = line.substr(firstBegin, firstEnd - firstBegin);
    const Tool* const tool = findTool(tools, first);
    if (first == "help") {
      words = firstWords(tools);
    } else if (tool != nullptr) {
      words = argumentWords(line, word, *tool);
    }
  }
  std::erase_if(words, [&word](const std::string& each) { return !each.starts_with(word); });
  return words;
}

int runRepl(ToolCaller& caller) {
  return Repl(caller).run();
}
