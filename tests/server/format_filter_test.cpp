#include "server/format_filter.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(WithoutPrivacyQualifiers, RemovesBracesThatFollowAPercentSign) {
  EXPECT_EQ(withoutPrivacyQualifiers("select() error: %{public}s"), "select() error: %s");
  EXPECT_EQ(withoutPrivacyQualifiers("%{public}s and %{private}d"), "%s and %d");
  EXPECT_EQ(withoutPrivacyQualifiers("%{}s"), "%s");
}

TEST(WithoutPrivacyQualifiers, LeavesAllElseAsItIs) {
  for (const char* const format : {"", "plain", "{public}", "%s {x}", "% {x}", "100%", "%{no end", "a%{"}) {
    EXPECT_EQ(withoutPrivacyQualifiers(format), format);
  }
}

TEST(WithoutPrivacyQualifiers, GoesOnBehindThePercentSign) {
  EXPECT_EQ(withoutPrivacyQualifiers("%{a}{b}s"), "%{b}s");
  EXPECT_EQ(withoutPrivacyQualifiers("%{a}%{b}s"), "%%s");
  EXPECT_EQ(withoutPrivacyQualifiers("%{a%{b}s"), "%s") << "up to the next closing brace";
}

TEST(PrintDiagnostic, AddsNoLineFeed) {
  testing::internal::CaptureStderr();
  printDiagnostic("x %{public}s", ENOENT);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "x No such file or directory");
}

}  // namespace
