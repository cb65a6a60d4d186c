#include "companion/clients/random_settings.h"

std::string RandomWriter::comment(const std::string& before, const std::string& behind) {
  const std::string mark = "c" + std::to_string(settings.comments.size()) + ";";
  settings.comments.emplace_back(mark, fate);
  return before + mark + behind;
}
