#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

/// A standard stream that the server is started without.
inline constexpr int kClosed = -2;

/// How the server is started.
struct ServerOptions {
  std::string socketFolder;                   ///< becomes its TMPDIR
  std::vector<std::string> arguments = {};    ///< of its command line
  std::vector<std::string> environment = {};  ///< "NAME=value", beside the test's own
  int standardInput =
      -1;  ///< a descriptor to be its standard input instead of a pipe; stays the caller's; or kClosed
  int standardOutput = -1;              ///< likewise
  bool inheritsIgnoredSignals = false;  ///< the test's own
  std::string program = {};             ///< to be started instead of the built server
};

/// The program of a server that waits for the host a second, and then half a second for each piece of its
/// reply.
std::string impatientServer();

/// The built server as a child process, with pipes on its streams. Killed and reaped when the object goes.
class ServerProcess {
 public:
  explicit ServerProcess(const ServerOptions& options);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  /// Writes bytes to its standard input; blocks while the pipe is full.
  void write(std::string_view bytes);
  /// Writes a line and its line feed.
  void writeLine(std::string_view line);
  void closeInput();
  /// The writing end of its standard input.
  int inputPipe() const { return input_; }
  /// Closes the reading end of its standard output.
  void closeOutput();

  /// Waits for a line of its standard output and returns it without its line feed. Throws when the output
  /// ends.
  std::string readLine();
  /// Writes a line, reads a line.
  std::string ask(std::string_view line);
  /// What has come on standard output and was not read as a line; takes what is there without waiting.
  std::string pendingOutput();
  /// Waits until standard error holds `text`, and returns all that came on it so far.
  std::string waitForDiagnostic(std::string_view text);
  /// All that has come on standard error so far, without waiting.
  const std::string& diagnostics();

  pid_t pid() const { return pid_; }
  void signal(int number) const;
  bool isAlive();
  /// Waits for its end; returns the status as waitpid gives it.
  int waitForEnd();

  /// What all its threads have used and done so far: processor ticks, and switches from one thread to
  /// another.
  struct Activity {
    long ticks;
    long switches;
    bool operator==(const Activity&) const = default;
  };
  Activity activity() const;
  /// Waits until nothing of it runs: all threads sleep and the activity stays the same from look to look.
  void waitUntilIdle() const;

 private:
  void readAvailable(int descriptor, std::string& into);

  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
  bool reaped_ = false;
  int status_ = 0;
  std::string received_;
  std::string diagnostics_;
};
