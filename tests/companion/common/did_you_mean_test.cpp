#include "companion/common/did_you_mean.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> kKnown = {"claude-code", "claude-desktop", "codex", "cursor", "zed"};

TEST(ThereIsNo, AsksForTheWordThatIsASlipAway) {
  EXPECT_EQ(thereIsNo("client", "curser", kKnown, ""),
            "there is no client \"curser\" (did you mean \"cursor\"?)");
  EXPECT_EQ(thereIsNo("client", "cdoex", kKnown, ""),
            "there is no client \"cdoex\" (did you mean \"codex\"?)");
  EXPECT_EQ(thereIsNo("client", "zd", kKnown, ""), "there is no client \"zd\" (did you mean \"zed\"?)");
  EXPECT_EQ(thereIsNo("client", "zedd", kKnown, ""), "there is no client \"zedd\" (did you mean \"zed\"?)");
}

TEST(ThereIsNo, MindsNoCapitals) {
  EXPECT_EQ(thereIsNo("client", "CURSOR", kKnown, ""),
            "there is no client \"CURSOR\" (did you mean \"cursor\"?)");
}

TEST(ThereIsNo, AsksForAllWordsThatBeginSo) {
  EXPECT_EQ(thereIsNo("client", "claude", kKnown, ""),
            "there is no client \"claude\" (did you mean \"claude-code\" or \"claude-desktop\"?)");
  EXPECT_EQ(thereIsNo("x", "aaa", {"aaa-one", "aaa-two", "aaa-three", "aaa-four"}, ""),
            "there is no x \"aaa\" (did you mean \"aaa-one\" or \"aaa-two\" or \"aaa-three\"?)");
}

TEST(ThereIsNo, AsksNothingWhenNoWordIsNear) {
  EXPECT_EQ(thereIsNo("client", "emacs", kKnown, ""), "there is no client \"emacs\"");
  EXPECT_EQ(thereIsNo("client", "", kKnown, ""), "there is no client \"\"");
  EXPECT_EQ(thereIsNo("client", "cl", kKnown, ""), "there is no client \"cl\"");
  EXPECT_EQ(thereIsNo("client", std::string(100000, 'z'), kKnown, "").find("mean"), std::string::npos);
}

TEST(ThereIsNo, TellsTheHintLast) {
  EXPECT_EQ(thereIsNo("client", "x", kKnown, "see --list"), "there is no client \"x\"; see --list");
  EXPECT_EQ(thereIsNo("client", "zedx", kKnown, "see --list"),
            "there is no client \"zedx\" (did you mean \"zed\"?); see --list");
}

}  // namespace
