// What costs an allocation and what does not.

#include "json/json.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <utility>

using json11::Json;

namespace {

thread_local std::size_t allocations = 0;

template <typename Operation>
std::size_t allocationsOf(Operation operation) {
  const std::size_t before = allocations;
  operation();
  return allocations - before;
}

}  // namespace

// Inlined into a caller, the three would look to the compiler like a pair that does not match.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

class Allocations : public testing::Test {
 protected:
  // The shared values are built on first use.
  Allocations() { EXPECT_TRUE(Json().arrayItems().empty()); }
};

TEST_F(Allocations, NullAndBooleansNeedNone) {
  EXPECT_EQ(allocationsOf([] {
              const Json values[] = {Json(), Json(nullptr), Json(true), Json(false)};
              EXPECT_EQ(values[2][0], values[0]);
            }),
            0U);
}

TEST_F(Allocations, AccessorsOfTheWrongKindNeedNone) {
  const Json number = 1;
  const std::string key = "key";
  EXPECT_EQ(allocationsOf([&number, &key] {
              EXPECT_TRUE(number.stringValue().empty());
              EXPECT_TRUE(number.arrayItems().empty());
              EXPECT_TRUE(number.objectItems().empty());
              EXPECT_EQ(number[7], number[key]);
            }),
            0U);
}

TEST_F(Allocations, ACopyOfALargeValueNeedsNone) {
  const Json large = Json::array(1000, std::string(1000, 'x'));
  EXPECT_EQ(allocationsOf([&large] {
              // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): copies are the test
              const Json copy = large;
              EXPECT_EQ(&copy.arrayItems(), &large.arrayItems());
            }),
            0U);
}

TEST_F(Allocations, EachNewPayloadNeedsOne) {
  std::string text(1000, 'x');
  Json::array values{1, 2};
  Json::object members{{"a", 1}};
  EXPECT_EQ(allocationsOf([] { const Json value(1); }), 1U);
  EXPECT_EQ(allocationsOf([] { const Json value(1.5); }), 1U);
  EXPECT_EQ(allocationsOf([] { const Json value(1UL); }), 1U);
  EXPECT_EQ(allocationsOf([] { const Json value("short"); }), 1U);
  EXPECT_EQ(allocationsOf([&text] { const Json value(std::move(text)); }), 1U);
  EXPECT_EQ(allocationsOf([&values] { const Json value(std::move(values)); }), 1U);
  EXPECT_EQ(allocationsOf([&members] { const Json value(std::move(members)); }), 1U);
}

TEST_F(Allocations, PrintingIntoAStringWithRoomNeedsNone) {
  std::string out;
  out.reserve(10000);
  const Json value = Json::array{1,
                                 -2.5,
                                 18446744073709551615UL,
                                 "a\n\x01\xE2\x80\xA8",
                                 true,
                                 nullptr,
                                 Json::object{{"key", Json::array{}}}};
  EXPECT_EQ(allocationsOf([&value, &out] { value.dump(out); }), 0U);
  EXPECT_EQ(out, R"([1, -2.5, 18446744073709551615, "a\n\u0001\u2028", true, null, {"key": []}])");
}

}  // namespace
