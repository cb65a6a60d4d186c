// What the C library keeps of freed memory, and what goes back to the system: its own figures. A program of
// its own, since an arena that a thread has once stays.

#include "server/freed_memory.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

/// Bytes taken from the system, used or not, without blocks that are mapped one by one.
std::size_t held() {
  return ::mallinfo2().arena;
}

std::vector<void*> allocated(std::size_t count, std::size_t size) {
  std::vector<void*> blocks(count);
  for (void*& block : blocks) block = std::malloc(size);
  return blocks;
}

void release(const std::vector<void*>& blocks) {
  for (void* const block : blocks) std::free(block);
}

/// Nothing is written to the blocks, so that they cost addresses and hardly any memory.
void allocateAndRelease(std::size_t mebibytes) {
  release(allocated(mebibytes, kMiB));
}

class KeepFreedMemory : public testing::Test {
 protected:
  KeepFreedMemory() {
    keepFreedMemory();
    ::malloc_trim(0);
  }
};

class GiveBackMemoryAfter : public KeepFreedMemory {};

TEST_F(KeepFreedMemory, KeepsLessThanAGibibyteAndGivesBackMore) {
  allocateAndRelease(1000);
  EXPECT_GE(held(), 1000 * kMiB);
  allocateAndRelease(1050);
  EXPECT_LT(held(), kMiB);
}

TEST_F(KeepFreedMemory, KeepsSingleBlocksBelow32MebibytesAndNoLargerOnes) {
  const std::size_t page = 4096;
  release(allocated(1, 32 * kMiB - page));
  EXPECT_GE(held(), 32 * kMiB - page);
  ::malloc_trim(0);
  release(allocated(1, 32 * kMiB));
  EXPECT_LT(held(), kMiB);
}

TEST_F(KeepFreedMemory, LetsAllThreadsShareOneArena) {
  std::thread([] { release(allocated(1000, 100)); }).join();
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = ::open_memstream(&text, &size);
  ::malloc_info(0, file);
  std::fclose(file);
  const std::string figures(text, size);
  std::free(text);
  EXPECT_NE(figures.find("<heap nr=\"0\">"), std::string::npos) << figures;
  EXPECT_EQ(figures.find("<heap nr=\"1\">"), std::string::npos) << figures;
}

TEST_F(KeepFreedMemory, ListsNoSmallBlocksToJoinThemLater) {
  release(allocated(100, 24));
  EXPECT_EQ(::mallinfo2().fsmblks, 0U);
}

TEST_F(GiveBackMemoryAfter, GivesAllBackAfter16MebibytesAndNothingAfterLess) {
  allocateAndRelease(100);
  giveBackMemoryAfter(0);
  giveBackMemoryAfter(16 * kMiB - 1);
  EXPECT_GE(held(), 100 * kMiB);
  giveBackMemoryAfter(16 * kMiB);
  EXPECT_LT(held(), kMiB);
  allocateAndRelease(100);
  giveBackMemoryAfter(16 * kMiB + 1);
  EXPECT_LT(held(), kMiB);
}

}  // namespace
