#pragma once

#include <string_view>

/// Whether the library procedure `name` (as in a symbol table) never comes back to its caller.
bool isNeverReturning(std::string_view name);
