// Compiled by the build; what the development host finds in it is compared with what objdump and readelf say.
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

const char* const kNames[] = {"name of zero", "name of one", "name of two"};
const char16_t* const kWide = u"wide text of the program";

class Shape {
 public:
  virtual ~Shape() = default;
  virtual int corners(int times) const = 0;
};

class Square : public Shape {
 public:
  int corners(int times) const override {
    if (times > 3) throw std::out_of_range("too many: " + std::to_string(times));
    return 4 * times;
  }
};

class Line : public Shape {
 public:
  int corners(int times) const override {
    const std::vector<std::string> texts(static_cast<std::size_t>(times), kNames[times % 3]);
    for (const std::string& text : texts) std::puts(text.c_str());
    return 2;
  }
};

/// Nothing calls it by name.
[[gnu::noinline]] static int addOne(int number) {
  return number + 1;
}
[[gnu::noinline]] static int addTwo(int number) {
  return number + 2;
}
int (*const kSteps[])(int) = {addOne, addTwo};

[[gnu::noinline]] int guarded(const Shape& shape, int times) {
  const std::string kept = "kept while " + std::to_string(times);
  try {
    return shape.corners(times) + static_cast<int>(kept.size());
  } catch (const std::out_of_range& error) {
    std::puts(error.what());
  } catch (const std::exception&) {
    std::puts("another");
    throw;
  }
  return -1;
}

int main(int argc, char**) {
  std::unique_ptr<Shape> shape;
  if (argc > 2) {
    shape = std::make_unique<Square>();
  } else {
    shape = std::make_unique<Line>();
  }
  return guarded(*shape, argc) + kSteps[argc % 2](argc) + static_cast<int>(kWide[argc]);
}
