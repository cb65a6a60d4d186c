#pragma once

// How a tool is written down in the catalogue.

#include <algorithm>
#include <array>
#include <cstddef>

/// What a tool reads from its arguments and sends to the host.
enum class Shape {
  kNoArgument,      ///< sends []
  kOneString,       ///< sends [text]
  kPatternSearch,   ///< sends [text, boolean]
  kTwoStrings,      ///< sends [text, text]
  kAddressNameMap,  ///< sends [object of texts]
};

/// One argument of a tool: a member of its schema's "properties", and a value of its request.
struct Argument {
  const char* name = nullptr;         ///< key in the call's arguments; null for an unused slot
  const char* type = nullptr;         ///< JSON Schema's name of the type
  const char* description = nullptr;  ///< shown to the assistant word for word
};

inline constexpr std::size_t kMaxArguments = 2;

/// One tool. Points to string literals only.
struct CatalogueEntry {
  const char* name;         ///< what the client calls
  const char* selector;     ///< what the host is asked
  const char* description;  ///< shown to the assistant word for word; its spelling is part of the interface
  Shape shape;
  std::array<Argument, kMaxArguments> arguments = {};  ///< in the order in which they are sent

  constexpr std::size_t argumentCount() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(arguments, [](const Argument& argument) { return argument.name != nullptr; }));
  }
};

/// How many arguments a tool of this shape has.
constexpr std::size_t argumentCount(Shape shape) {
  switch (shape) {
    case Shape::kNoArgument: return 0;
    case Shape::kOneString:
    case Shape::kAddressNameMap: return 1;
    case Shape::kPatternSearch:
    case Shape::kTwoStrings: return 2;
  }
  return 0;
}
