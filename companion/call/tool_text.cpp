#include "companion/call/tool_text.h"

#include "companion/call/json_indentation.h"
#include "companion/common/did_you_mean.h"
#include "companion/common/printing.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace {

/// How much of a result is printed before an interruption is looked for, in bytes.
constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

/// A piece of `text` from its start, of about kPieceBytes, that ends where a line ends if one does.
std::string_view firstPiece(std::string_view text) {
  if (text.size() <= kPieceBytes) return text;
  const std::size_t lineEnd = text.find('\n', kPieceBytes);
  return text.substr(0, lineEnd == std::string_view::npos ? text.size() : lineEnd + 1);
}

std::string usageOf(const Tool& tool) {
  std::string usage = tool.name;
  for (const ToolArgument& argument : tool.arguments)
    usage += " [" + argument.name + '=' + argument.type + ']';
  return usage + '\n';
}

std::string descriptionOf(const Tool& tool) {
  std::string text = tool.name + "\n  " + tool.description + '\n';
  for (const ToolArgument& argument : tool.arguments)
    text += "  " + argument.name + " (" + argument.type + "): " + argument.description + '\n';
  return text;
}

}  // namespace

void printUsages(const std::vector<Tool>& tools) {
  for (const Tool& tool : tools) print(usageOf(tool));
}

std::optional<std::string> describeTools(const std::vector<std::string>& names,
                                         const std::vector<Tool>& tools) {
  std::optional<std::string> unknown;
  for (const std::string& name : names) {
    if (const Tool* const tool = findTool(tools, name)) {
      print(descriptionOf(*tool));
    } else if (!unknown) {
      unknown = name;
    }
  }
  return unknown;
}

std::string thereIsNoTool(const std::string& name, const std::vector<Tool>& tools, const std::string& hint) {
  std::vector<std::string> names;
  names.reserve(tools.size());
  for (const Tool& tool : tools) names.push_back(tool.name);
  return thereIsNo("tool", name, names, hint);
}

void printResult(const std::string& text, const std::function<bool()>& isInterrupted) {
  const std::optional<std::string> indented =
      ::isatty(STDOUT_FILENO) != 0 ? indentedJson(text) : std::nullopt;
  std::string_view rest = indented ? *indented : text;
  while (!rest.empty() && !(isInterrupted && isInterrupted())) {
    const std::string_view piece = firstPiece(rest);
    print(piece);
    flushOutput();
    rest.remove_prefix(piece.size());
  }
  print("\n");
}
