#pragma once

#include <sys/types.h>

#include <string>

/// A number of /proc/PID/status, such as "VmRSS" (in KiB) or "Threads"; 0 if there is none.
long statusOf(pid_t process, const std::string& field);

/// What all threads of a process have done so far.
struct Activity {
  long long processorNs = 0;      ///< time on a processor, in nanoseconds
  long long contextSwitches = 0;  ///< voluntary ones and others
};

/// Read from /proc/PID/task. Threads that have ended are not counted.
Activity activityOf(pid_t process);
