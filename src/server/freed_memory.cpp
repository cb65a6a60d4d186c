#include "server/freed_memory.h"

#include <malloc.h>

namespace {

constexpr int kMostKeptBytes = 1 << 30;      // more than any message leaves behind that is not large
constexpr int kLeastMappedBytes = 32 << 20;  // the most that the C library takes

}  // namespace

void keepFreedMemory() {
  ::mallopt(M_TRIM_THRESHOLD, kMostKeptBytes);
  ::mallopt(M_MMAP_THRESHOLD, kLeastMappedBytes);
  // Other threads' arenas would go back to the system in pieces of 64 MB, whatever the threshold.
  ::mallopt(M_ARENA_MAX, 1);
  // Small blocks are joined as they are freed: a large reply frees millions, and to list them first and join
  // them later costs more.
  ::mallopt(M_MXFAST, 0);
}

void giveBackMemoryAfter(std::size_t messageBytes) {
  if (messageBytes >= kLargeMessageBytes) ::malloc_trim(0);
}
