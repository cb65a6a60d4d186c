#include "support/stdio_pipes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace {

/// The result of a call that must not fail.
int checked(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category());
  return result;
}

}  // namespace

ReplacedDescriptor::ReplacedDescriptor(int descriptor, int replacement)
    : descriptor_(descriptor), saved_(checked(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3))) {
  std::fflush(nullptr);  // what was printed before belongs to the old one
  checked(::dup2(replacement, descriptor));
}

ReplacedDescriptor::~ReplacedDescriptor() {
  std::fflush(nullptr);
  ::dup2(saved_, descriptor_);
  ::close(saved_);
}

CapturedDescriptor::CapturedDescriptor(int descriptor)
    : file_(checked(::memfd_create("captured", MFD_CLOEXEC))), replaced_(descriptor, file_) {}

CapturedDescriptor::~CapturedDescriptor() {
  ::close(file_);
}

std::string CapturedDescriptor::text() const {
  struct stat status;
  checked(::fstat(file_, &status));
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  if (::pread(file_, bytes.data(), bytes.size(), 0) != status.st_size) {
    throw std::runtime_error("the captured text cannot be read");
  }
  return bytes;
}

PipedInput::Ends PipedInput::makePipe() {
  int ends[2];
  checked(::pipe2(ends, O_CLOEXEC));
  return {.reading = ends[0], .writing = ends[1]};
}

PipedInput::PipedInput() : ends_(makePipe()), replaced_(STDIN_FILENO, ends_.reading) {
  ::close(ends_.reading);
}

PipedInput::~PipedInput() {
  end();
}

void PipedInput::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(ends_.writing, bytes.data(), bytes.size());
    if (count < 0) throw std::system_error(errno, std::generic_category());
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void PipedInput::end() {
  if (ends_.writing >= 0) ::close(ends_.writing);
  ends_.writing = -1;
}
