#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

/// A server that runs as a child of this process, with pipes on its standard input and output. It ends when
/// this object goes, and also when this process ends in any way, killed included.
///
/// Plain descriptors, for one thread: the thread that starts it must live as long as the server is to live.
class ServerChild {
 public:
  /// Where the server's standard error goes.
  enum class Diagnostics { kInherited, kPiped };

  /// Starts `program`, an absolute path, without arguments. Null, with the reason in `error`, when it cannot
  /// be executed; a server that starts and ends at once is not noticed here.
  static std::unique_ptr<ServerChild> start(const std::string& program, Diagnostics diagnostics,
                                            std::string& error);

  /// As end().
  ~ServerChild();
  ServerChild(const ServerChild&) = delete;
  ServerChild& operator=(const ServerChild&) = delete;

  /// This process's ends of the pipes, non-blocking. Owned by this object.
  int input() const { return input_; }
  int output() const { return output_; }
  /// -1 unless standard error is piped.
  int diagnostics() const { return diagnostics_; }
  /// Closes that end, since its other end is closed.
  void closeDiagnostics();

  pid_t pid() const { return pid_; }

  /// How much of what was written to input() the server has not read, in bytes. Right also after its end.
  std::size_t unreadInput() const;

  /// Kills it without waiting; its output can still be read to the end.
  void kill() const;

  /// Ends it, by SIGTERM and, if it is still there a second later, by SIGKILL, and waits for its end. Returns
  /// its status as waitpid gives it. Can be called again.
  int end();

 private:
  ServerChild() = default;

  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int diagnostics_ = -1;
  bool ended_ = false;
  int status_ = 0;
};
