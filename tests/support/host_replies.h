#pragma once

// Bodies of the host's replies.

#include <string>

/// A success with a text; `text` stands as JSON has it between quotes.
inline std::string success(const std::string& text) {
  return R"({"success":true,"result":")" + text + R"("})";
}

/// A success with any JSON.
inline std::string successWith(const std::string& result) {
  return R"({"success":true,"result":)" + result + "}";
}

inline std::string failure(const std::string& error) {
  return R"({"success":false,"error":")" + error + R"("})";
}
