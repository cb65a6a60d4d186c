#pragma once

#include <optional>
#include <string>

/// What a mangled C++, Rust, D or Microsoft symbol stands for in its source: "QString::append(QChar)".
/// Nothing for other names, and for those that are too long to be worth it.
std::optional<std::string> demangledName(const std::string& symbol);
