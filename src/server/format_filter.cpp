#include "server/format_filter.h"

#include <cstdio>
#include <cstring>

std::string withoutPrivacyQualifiers(std::string format) {
  std::size_t at = format.find("%{");
  while (at != std::string::npos) {
    const std::size_t end = format.find('}', at + 2);
    if (end != std::string::npos) format.erase(at + 1, end - at);
    at = format.find("%{", at + 1);
  }
  return format;
}

void printDiagnostic(const char* format, int errorNumber) {
  const std::string filtered = withoutPrivacyQualifiers(format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the formats are this program's own
  std::fprintf(stderr, filtered.c_str(), std::strerror(errorNumber));
#pragma GCC diagnostic pop
}
