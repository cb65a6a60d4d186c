#include "companion/call/line_editor.h"

#include <histedit.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <iostream>
#include <memory>

namespace {

constexpr int kHistoryLines = 500;

/// What mbrtowc returns for a byte that belongs to no character.
constexpr std::size_t kNoCharacter = static_cast<std::size_t>(-1);

/// What ends or stops this program must find the terminal as the shell left it, and a new size of the
/// terminal changes how a line is shown.
constexpr int kTerminalSignals[] = {SIGHUP, SIGQUIT, SIGTERM, SIGTSTP, SIGWINCH};

/// Keeps kTerminalSignals from being delivered while it lives.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kTerminalSignals) sigaddset(&held, signal);
    ::pthread_sigmask(SIG_BLOCK, &held, &maskBefore_);
    descriptor_ = ::signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
  }
  ~HeldSignals() {
    ::close(descriptor_);
    ::pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  /// Can be read when one of them has come.
  int descriptor() const { return descriptor_; }

  /// Lets `signal`, one of them, have its effect.
  static void deliver(int signal) {
    sigset_t delivered;
    sigemptyset(&delivered);
    sigaddset(&delivered, signal);
    std::raise(signal);
    ::pthread_sigmask(SIG_UNBLOCK, &delivered, nullptr);
    ::pthread_sigmask(SIG_BLOCK, &delivered, nullptr);
  }

 private:
  int descriptor_ = -1;
  sigset_t maskBefore_ = {};
};

/// Whether the last byte of `line` is a backslash that would quote the next one.
bool endsInBackslash(const std::string& line) {
  char quote = '\0';
  for (std::size_t at = 0; at < line.size(); ++at) {
    const char byte = line[at];
    if (byte == '\\' && quote != '\'') {
      ++at;
      if (at == line.size()) return true;
    } else if (quote == '\0' && (byte == '\'' || byte == '"')) {
      quote = byte;
    } else if (byte == quote) {
      quote = '\0';
    }
  }
  return false;
}

std::string commonStart(const std::vector<std::string>& texts) {
  std::string start = texts.front();
  for (const std::string& text : texts) {
    const auto end = std::mismatch(start.begin(), start.end(), text.begin(), text.end()).first;
    start.erase(end, start.end());
  }
  return start;
}

}  // namespace

LineEditor::LineEditor(std::string prompt, Completer completer, const Interrupts* interrupts,
                       HistoryFile history)
    : prompt_(std::move(prompt)),
      completer_(std::move(completer)),
      interrupts_(interrupts),
      historyFile_(std::move(history)) {
  if (interrupts_ != nullptr) openTerminal();
}

LineEditor::~LineEditor() {
  if (editor_ == nullptr) return;
  ::el_end(editor_);
  ::history_end(history_);
}

void LineEditor::openTerminal() {
  editor_ = ::el_init("orvane-mcp", stdin, stdout, stderr);
  if (editor_ == nullptr) return;
  history_ = ::history_init();
  HistEvent event;
  ::history(history_, &event, H_SETSIZE, kHistoryLines);
  ::history(history_, &event, H_SETUNIQUE, 1);
  for (const std::string& line : historyFile_.load(kHistoryLines))
    ::history(history_, &event, H_ENTER, line.c_str());
  ::el_set(editor_, EL_CLIENTDATA, this);
  ::el_set(editor_, EL_PROMPT, &LineEditor::promptOf);
  ::el_set(editor_, EL_EDITOR, "emacs");
  ::el_set(editor_, EL_GETCFN, &LineEditor::readKey);
  ::el_set(editor_, EL_HIST, ::history, history_);
  ::el_set(editor_, EL_ADDFN, "complete", "Complete the word", &LineEditor::complete);
  ::el_set(editor_, EL_BIND, "^I", "complete", nullptr);
}

std::optional<std::string> LineEditor::readLine() {
  if (editor_ == nullptr) return readScriptLine();
  const HeldSignals held;
  signals_ = held.descriptor();
  wasInterrupted_ = false;
  // Before the prompt is shown: what is typed at the prompt is for the editor alone.
  ::el_set(editor_, EL_PREP_TERM, 1);
  int length = 0;
  const char* const read = ::el_gets(editor_, &length);
  signals_ = -1;
  if (wasInterrupted_) {
    std::printf("^C\n");
    return std::string();
  }
  if (read == nullptr || length <= 0) {
    std::printf("\n");
    return std::nullopt;
  }
  std::string line(read, static_cast<std::size_t>(length));
  line.resize(std::min(line.find('\n'), line.size()));
  remember(line);
  return line;
}

std::optional<std::string> LineEditor::readScriptLine() const {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

void LineEditor::remember(const std::string& line) {
  if (line.empty()) return;
  HistEvent event;
  ::history(history_, &event, H_ENTER, line.c_str());
  historyFile_.add(line);
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

int LineEditor::readKey(editline* editor, wchar_t* key) {
  LineEditor* self = nullptr;
  ::el_get(editor, EL_CLIENTDATA, &self);
  return self->waitForKey(*key);
}

/// Waits for a character. Returns 1 with it in `key`, or 0 at the end of input and after Ctrl-C.
int LineEditor::waitForKey(wchar_t& key) {
  std::mbstate_t state{};
  while (true) {
    pollfd events[] = {
        {STDIN_FILENO, POLLIN, 0}, {interrupts_->descriptor(), POLLIN, 0}, {signals_, POLLIN, 0}};
    if (::poll(events, std::size(events), -1) < 0) continue;
    if (events[1].revents != 0) {
      wasInterrupted_ = interrupts_->take();
      return 0;
    }
    signalfd_siginfo signal{};
    if (events[2].revents != 0 && ::read(signals_, &signal, sizeof signal) == sizeof signal)
      obey(static_cast<int>(signal.ssi_signo));
    if (events[0].revents == 0) continue;
    char byte = 0;
    const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) return 0;
    const std::size_t converted = std::mbrtowc(&key, &byte, 1, &state);
    if (converted <= 1) return 1;
    // A byte that cannot be part of a character is left out; one that begins a character waits for the rest.
    if (converted == kNoCharacter) state = {};
  }
}

/// Does what `signal` means, with the terminal as the shell expects it meanwhile.
void LineEditor::obey(int signal) {
  if (signal == SIGWINCH) {
    ::el_resize(editor_);
    return;
  }
  ::el_set(editor_, EL_PREP_TERM, 0);
  HeldSignals::deliver(signal);
  // It was only a stop, or is ignored.
  ::el_set(editor_, EL_PREP_TERM, 1);
  ::el_set(editor_, EL_REFRESH);
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
  // The tokenizer would take the first for the line's end, and read on behind the line for the second.
  if (line.find('\0') != std::string::npos) error = "the line holds a zero byte";
  if (endsInBackslash(line)) error = "nothing is behind the backslash at the end";
  if (!error.empty()) return std::nullopt;
  const std::unique_ptr<Tokenizer, void (*)(Tokenizer*)> tokenizer(::tok_init(nullptr), ::tok_end);
  int count = 0;
  const char** words = nullptr;
  if (::tok_str(tokenizer.get(), line.c_str(), &count, &words) == 0)
    return std::vector<std::string>(words, words + count);
  error = "a quotation is not closed";
  return std::nullopt;
}
