#pragma once

// Standard output as every subcommand uses it: texts go out to their end, and what cannot be written is
// noticed.

#include <string>
#include <string_view>

/// Prints `text` on standard output to its end, zero bytes included. On a terminal it is printed as visible()
/// has it. What cannot be written shows in finishOutput().
void print(std::string_view text);

/// Hands everything that was printed to the system.
void flushOutput();

/// `text` as it can be put on a terminal without being obeyed: control bytes other than the tabulator and the
/// line feed are shown, as "^[" (below 0x20, and 0x7F) and as "<9B>" (U+0080 to U+009F, and bytes that are
/// not UTF-8).
std::string visible(std::string_view text);

/// The exit status of a program that would end with `status`, when nothing more is to be printed: kFailure in
/// place of kSuccess, after a complaint, when standard output did not take everything. A reader that has gone
/// away is not complained of. Closes standard output.
int finishOutput(int status);
