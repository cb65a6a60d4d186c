#include "companion/session/pipe_io.h"

#include <cerrno>

bool isRetry(int reason) {
  return reason == EAGAIN || reason == EINTR;
}
