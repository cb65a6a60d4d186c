#pragma once

#include <filesystem>
#include <fstream>
#include <string>

/// Writes a file, and makes the folders that it is in.
inline void put(const std::string& path, const std::string& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
}
