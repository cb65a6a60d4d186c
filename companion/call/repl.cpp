#include "companion/call/repl.h"

#include "companion/call/line_editor.h"
#include "companion/call/tools.h"
#include "companion/common/command.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace {

constexpr char kBlanks[] = " \t";
constexpr const char* kSessionWords[] = {"help", "quit"};

/// Where the first word of `line` begins and ends.
std::pair<std::size_t, std::size_t> firstWordOf(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(kBlanks);
  return {begin, line.find_first_of(kBlanks, begin)};
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
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
    if (startsWith(word, key) && argument.type == "boolean") return {key + "true ", key + "false "};
    if (line.find(' ' + key) == std::string::npos) words.push_back(key);
  }
  return words;
}

void help(const std::vector<std::string>& names, const std::vector<Tool>& tools) {
  if (names.empty()) {
    printUsages(tools);
    std::printf("help TOOL tells more of one; quit ends.\n");
  }
  if (const std::optional<std::string> unknown = describeTools(names, tools))
    complain(QStringLiteral("there is no tool \"%1\"").arg(QString::fromStdString(*unknown)));
}

/// Makes the call that `words` say. Returns the mistake, or nothing.
std::string callAsTyped(ToolCaller& caller, std::vector<std::string> words,
                        const std::function<void(const std::string& text)>& print) {
  const Tool* const tool = findTool(caller.tools(), words.front());
  if (tool == nullptr) return "there is no tool \"" + words.front() + "\"; help names them";
  words.erase(words.begin());
  std::string error;
  const auto arguments = readArguments(*tool, words, error);
  if (!arguments) return error;
  const CallOutcome outcome = caller.call(*tool, *arguments);
  if (outcome.error.empty()) print(outcome.text);
  return outcome.error;
}

/// The words of `line`. Arguments that are written as one JSON object keep their quotation marks.
std::optional<std::vector<std::string>> wordsOf(const std::string& line, std::string& error) {
  const auto [tool, toolEnd] = firstWordOf(line);
  const std::size_t arguments = line.find_first_not_of(kBlanks, toolEnd);
  if (arguments != std::string::npos && line[arguments] == '{')
    return std::vector<std::string>{line.substr(tool, toolEnd - tool), line.substr(arguments)};
  return splitWords(line, error);
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
  std::erase_if(words, [&word](const std::string& each) { return !startsWith(each, word); });
  return words;
}

void runRepl(ToolCaller& caller, const std::function<void(const std::string& text)>& print) {
  LineEditor editor("orvane> ",
                    [&caller](const std::string& line) { return completionsOf(line, caller.tools()); });
  while (const std::optional<std::string> line = editor.readLine()) {
    std::string error;
    std::optional<std::vector<std::string>> words = wordsOf(*line, error);
    if (words && words->empty()) continue;
    if (words && words->front() == "quit") return;
    if (words && words->front() == "help") {
      words->erase(words->begin());
      help(*words, caller.tools());
    } else if (words) {
      error = callAsTyped(caller, std::move(*words), print);
    }
    if (!error.empty()) complain(QString::fromStdString(error));
    std::fflush(stdout);
  }
}
