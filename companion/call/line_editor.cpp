#include "companion/call/line_editor.h"

#include <histedit.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>

namespace {

constexpr int kHistoryLines = 500;

std::string commonStart(const std::vector<std::string>& texts) {
  std::string start = texts.front();
  for (const std::string& text : texts) {
    const auto end = std::mismatch(start.begin(), start.end(), text.begin(), text.end()).first;
    start.erase(end, start.end());
  }
  return start;
}

}  // namespace

LineEditor::LineEditor(std::string prompt, Completer completer)
    : prompt_(std::move(prompt)), completer_(std::move(completer)) {
  if (::isatty(STDIN_FILENO) == 0) return;
  editor_ = ::el_init("orvane-mcp", stdin, stdout, stderr);
  if (editor_ == nullptr) return;
  history_ = ::history_init();
  HistEvent event;
  ::history(history_, &event, H_SETSIZE, kHistoryLines);
  ::el_set(editor_, EL_CLIENTDATA, this);
  ::el_set(editor_, EL_PROMPT, &LineEditor::promptOf);
  ::el_set(editor_, EL_EDITOR, "emacs");
  ::el_set(editor_, EL_SIGNAL, 1);
  ::el_set(editor_, EL_HIST, ::history, history_);
  ::el_set(editor_, EL_ADDFN, "complete", "Complete the word", &LineEditor::complete);
  ::el_set(editor_, EL_BIND, "^I", "complete", nullptr);
}

LineEditor::~LineEditor() {
  if (editor_ == nullptr) return;
  ::el_end(editor_);
  ::history_end(history_);
}

std::optional<std::string> LineEditor::readLine() {
  if (editor_ == nullptr) {
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line;
  }
  int length = 0;
  const char* const read = ::el_gets(editor_, &length);
  if (read == nullptr || length <= 0) return std::nullopt;
  HistEvent event;
  if (length > 1) ::history(history_, &event, H_ENTER, read);
  const std::string line(read, static_cast<std::size_t>(length));
  return line.substr(0, line.find('\n'));
}

char* LineEditor::promptOf(editline* editor) {
  LineEditor* self = nullptr;
  ::el_get(editor, EL_CLIENTDATA, &self);
  return self->prompt_.data();
}

unsigned char LineEditor::complete(editline* editor, int) {
  LineEditor* self = nullptr;
  ::el_get(editor, EL_CLIENTDATA, &self);
  return self->completeHere();
}

unsigned char LineEditor::completeHere() {
  const LineInfo* const info = ::el_line(editor_);
  const std::string line(info->buffer, info->cursor);
  const std::vector<std::string> candidates = completer_(line);
  if (candidates.empty()) return CC_ERROR;
  const std::size_t typed = line.size() - (line.find_last_of(" \t") + 1);
  const std::string addition = commonStart(candidates).substr(typed);
  if (addition.empty() && candidates.size() > 1) {
    offer(candidates);
    return CC_REDISPLAY;
  }
  return ::el_insertstr(editor_, addition.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

void LineEditor::offer(const std::vector<std::string>& candidates) const {
  std::fputc('\n', stdout);
  for (const std::string& candidate : candidates) std::printf("%s\n", candidate.c_str());
  std::fflush(stdout);
}

std::optional<std::vector<std::string>> splitWords(const std::string& line, std::string& error) {
  const std::unique_ptr<Tokenizer, void (*)(Tokenizer*)> tokenizer(::tok_init(nullptr), ::tok_end);
  int count = 0;
  const char** words = nullptr;
  if (::tok_str(tokenizer.get(), line.c_str(), &count, &words) == 0)
    return std::vector<std::string>(words, words + count);
  error = "a quotation is not closed";
  return std::nullopt;
}
