#pragma once

// What becomes of memory that has been freed. A large reply is millions of small allocations: fetching each
// page of them from the system anew would take a quarter of its time, so the process keeps what it has freed
// and gives it back only after messages so large that this time does not count.

#include <cstddef>

/// Smallest message, in bytes, after which freed memory is given back. Giving it back and fetching it again
/// takes a third of the time of an 8 MB reply; replies of this size are rare, and what they leave behind is
/// hundreds of megabytes.
inline constexpr std::size_t kLargeMessageBytes = std::size_t{16} << 20;

/// Tells the C library to keep the memory that the process frees. To be called first thing in main, before
/// there is a second thread.
void keepFreedMemory();

/// Gives all freed memory back to the system if a message of `messageBytes` was large. Called when the
/// message is handled and, if it is a reply, written, so that nobody waits for it.
void giveBackMemoryAfter(std::size_t messageBytes);
