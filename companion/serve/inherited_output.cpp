#include "companion/serve/inherited_output.h"

#include "companion/session/pipe_io.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

namespace {

bool isWritable(int descriptor) {
  pollfd output{descriptor, POLLOUT, 0};
  return ::poll(&output, 1, 0) == 1;
}

}  // namespace

InheritedOutput::InheritedOutput(int descriptor) : descriptor_(descriptor) {
  struct stat output {};
  if (::fstat(descriptor, &output) != 0) return;
  if (S_ISSOCK(output.st_mode)) kind_ = Kind::kSocket;
  if (!S_ISFIFO(output.st_mode)) return;
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  const int reopened = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
  kind_ = reopened >= 0 ? Kind::kReopened : Kind::kSmallBits;
  if (reopened < 0) return;
  descriptor_ = reopened;
  isOurs_ = true;
}

InheritedOutput::~InheritedOutput() {
  if (isOurs_) ::close(descriptor_);
}

std::optional<std::size_t> InheritedOutput::write(std::string_view bytes) const {
  ssize_t count = 0;
  if (kind_ == Kind::kSocket) {
    count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } else if (kind_ == Kind::kSmallBits) {
    if (!isWritable(descriptor_)) return 0;
    count = ::write(descriptor_, bytes.data(), bytes.substr(0, PIPE_BUF).size());
  } else {
    count = ::write(descriptor_, bytes.data(), bytes.size());
  }
  if (count < 0) return isRetry(errno) ? std::optional<std::size_t>(0) : std::nullopt;
  return static_cast<std::size_t>(count);
}
