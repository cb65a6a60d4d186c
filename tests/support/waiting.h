#pragma once

#include <functional>

/// Longest wait for anything that a test waits for, in milliseconds: far longer than it takes, far shorter
/// than ctest allows.
inline constexpr int kWaitLimitMs = 90000;

/// Waits until `descriptor` can be read (its end included); throws with `what` in the message when the limit
/// passes.
void waitUntilReadable(int descriptor, const char* what);

/// Asks again and again until `condition` holds; throws with `what` in the message when the limit passes.
void waitUntil(const std::function<bool()>& condition, const char* what);
