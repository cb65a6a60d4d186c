// Formats without their privacy qualifiers.

#include "server/format_filter.h"

#include "support/stdio_pipes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace {

struct FilterRow {
  const char* label;
  std::string format;
  std::string filtered;
};

TEST(WithoutPrivacyQualifiers, RemovesBracesBehindAPercentSign) {
  const FilterRow rows[] = {
      {"the select diagnostic", "select() error: %{public}s", "select() error: %s"},
      {"none", "read(stdin) error: %s\n", "read(stdin) error: %s\n"},
      {"empty", "", ""},
      {"at the start", "%{public}s x", "%s x"},
      {"several", "%{public}s and %{private}d", "%s and %d"},
      {"empty braces", "%{}s", "%s"},
      {"without a closing brace", "%{public", "%{public"},
      {"without a closing brace behind a good one", "%{a}s %{b", "%s %{b"},
      {"braces without a percent sign", "{a} % {b}", "{a} % {b}"},
      {"percent sign at the end", "50%", "50%"},
      {"opening brace at the end", "50%{", "50%{"},
      {"only the next closing brace", "%{a}b}s", "%b}s"},
      {"brace in braces", "%{{a}}s", "%}s"},
      {"second braces stay: the scan goes on behind the percent sign", "%{a}{b}s", "%{b}s"},
      {"percent sign in braces", "%{a%{b}s", "%s"},
      {"two percent signs", "%%{a}s", "%%s"},
      {"percent sign right behind the braces", "%{a}%{b}s", "%%s"},
      {"closing brace before", "} %{a}s", "} %s"},
  };
  for (const FilterRow& row : rows)
    EXPECT_EQ(withoutPrivacyQualifiers(row.format), row.filtered) << row.label;
}

TEST(PrintDiagnostic, PrintsTheErrorTextAndNothingBehindIt) {
  std::string printed;
  {
    const CapturedDescriptor diagnostics(2);
    printDiagnostic("select() error: %{public}s", EBADF);
    printed = diagnostics.text();
  }
  EXPECT_EQ(printed, "select() error: Bad file descriptor");
}

}  // namespace
