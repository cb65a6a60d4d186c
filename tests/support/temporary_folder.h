#pragma once

#include <string>

/// A new, empty folder that is removed with all it holds when the object goes. Its path is short, because the
/// path of a local socket is limited to 107 bytes.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Where the server looks for the host's socket when this folder is its TMPDIR.
  std::string socketPath() const;

 private:
  std::string path_;
};
