/* Compiled by agreement_test.cpp, which compares what the development host finds with nm, objdump and readelf. */
#include <stdio.h>
#include <stdlib.h>

#define APART __attribute__((noinline, noclone))

int counter = 4;

APART static int hidden(int number) {
  counter += number;
  return number * 3 + counter;
}

APART int twice(int number) {
  printf("twice of %d\n", number);
  return hidden(number) * 2;
}

APART int countdown(int number) {
  if (number <= 0) return 0;
  return countdown(number - 1) + number;
}

APART int choose(int number) {
  switch (number) {
    case 0: puts("zero here"); return 3;
    case 1: return 7;
    case 2: puts("two here"); return 9;
    case 3: return twice(8);
    case 4: return countdown(3);
    case 5: puts("five here"); return 2;
    case 6: return number * 77;
    default: return 0;
  }
}

/* Nothing calls it by name. */
APART static int passed_around(const void* left, const void* right) {
  return *(const int*)left - *(const int*)right;
}

int main(int argc, char** argv) {
  int numbers[4] = {argc, 3, 1, 2};
  (void)argv;
  qsort(numbers, 4, sizeof numbers[0], passed_around);
  if (choose(numbers[0]) == 77) exit(2);
  return twice(numbers[1]);
}
