#pragma once

// What a reply of the server says, whatever its shape.

#include <nlohmann/json.hpp>

#include <string>

/// The string at `pointer` ("/result/serverInfo/version") in `value`; empty when there is none.
std::string stringAt(const nlohmann::ordered_json& value, const std::string& pointer);

/// The message of an error reply, or its whole error if it has none; empty when the reply is no error.
std::string errorOf(const nlohmann::ordered_json& reply);

/// The texts of the content of a tool's result, one behind the other.
std::string textOf(const nlohmann::ordered_json& reply);
