#pragma once

// How a tool is written down in the catalogue.

#include <array>
#include <cstddef>

/// What an argument is, both in the tool's schema and in the request to the host.
enum class ArgumentType {
  kText,
  kBoolean,
  kTextMap,  ///< an object whose values are texts
};

/// One argument of a tool: a member of its schema's "properties", and a value of its request.
struct Argument {
  const char* name = nullptr;  ///< key in the call's arguments; null for an unused slot
  ArgumentType type = ArgumentType::kText;
  const char* description = nullptr;  ///< shown to the assistant word for word
};

/// Most that a request to the host can carry.
inline constexpr std::size_t kMaxArguments = 2;

/// One tool. Points to string literals only.
struct CatalogueEntry {
  const char* name;         ///< what the client calls
  const char* selector;     ///< what the host is asked
  const char* description;  ///< shown to the assistant word for word; its spelling is part of the interface
  std::array<Argument, kMaxArguments> arguments = {};  ///< in the order in which they are sent
};
