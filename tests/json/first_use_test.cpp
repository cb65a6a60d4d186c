// The values that all values share are made at their first use, which may come from several threads at once.
// A program of its own, because nothing may have used them before.

#include "json/json.h"

#include <gtest/gtest.h>

#include <barrier>
#include <string>
#include <thread>
#include <vector>

using json11::Json;

namespace {

/// Uses every shared value once: null, both booleans, the empty kinds, and what access of the wrong kind
/// gives.
std::string useAll() {
  const Json values[] = {Json(),   Json(nullptr), Json(true),    Json(false),
                         Json(""), Json::array{}, Json::object{}};
  std::string text;
  for (const Json& value : values) {
    text += value.dump();
    text += value["missing"].dump() + value[7].dump();
    text += value.stringValue() + std::to_string(value.arrayItems().size() + value.objectItems().size());
  }
  std::string error;
  return text + Json::parse("[null,true,false,\"\",[],{}]", error).dump() + Json::parse("", error).dump();
}

TEST(SharedValues, MayBeUsedForTheFirstTimeByEightThreadsAtOnce) {
  constexpr int kThreads = 8;
  std::barrier start(kThreads);
  std::vector<std::string> texts(kThreads);
  std::vector<std::thread> threads;
  for (std::string& text : texts) {
    threads.emplace_back([&start, &text] {
      start.arrive_and_wait();
      text = useAll();
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string expected = useAll();
  EXPECT_NE(expected, "");
  for (const std::string& text : texts) EXPECT_EQ(text, expected);
}

}  // namespace
