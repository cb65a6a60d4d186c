/* Compiled by the build: a program with a procedure of its own that is called like one of the library's. */
#include <stdio.h>

int err(int number) {
  printf("err %d\n", number);
  return number + 1;
}

int main(int argc, char** argv) {
  (void)argv;
  int result = err(argc);
  puts("behind the call");
  return result;
}
