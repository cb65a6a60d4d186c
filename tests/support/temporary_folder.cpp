#include "support/temporary_folder.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TemporaryFolder::TemporaryFolder() {
  char name[] = "/tmp/orvXXXXXX";
  if (::mkdtemp(name) == nullptr) throw std::runtime_error("cannot make a temporary folder");
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::socketPath() const {
  return path_ + "/" ORVANE_EXTERNAL_API_SERVICE_NAME;
}
