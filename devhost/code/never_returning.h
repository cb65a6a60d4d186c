#pragma once

#include <string_view>

/// Whether the library procedure `name` (as in a symbol table) never comes back to its caller.
bool isNeverReturning(std::string_view name);

/// The same for a procedure of the file itself: only names that no program may use for something else count.
bool isNeverReturningInFile(std::string_view name);
