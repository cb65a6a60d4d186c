/* The program inside the small executables of this folder; see make_samples.sh. Free of any library. */

#ifdef _WIN32
#define IMPORTED __declspec(dllimport)
#define EXPORTED __declspec(dllexport)
#else
#define IMPORTED __attribute__((visibility("default")))
#define EXPORTED __attribute__((visibility("default")))
#endif

IMPORTED int imported(const char* text);

EXPORTED int counter = 3;

__attribute__((noinline)) int twice(int number) {
  volatile int kept[4] = {number, number + 1, 0, 0};
  return kept[0] + kept[1] + imported("text of the sample");
}

__attribute__((noinline)) static int quietly(int number) {
  counter += number;
  return twice(number) + 1;
}

EXPORTED int begin(int number) {
  int sum = 0;
  for (int i = 0; i < number; ++i) sum += quietly(i);
  return sum + twice(number);
}
