/* A program whose data refers to code, to texts and to another file; see make_samples.sh. */

int imported(const char* text);

static int once(int number) { return number + 1; }
static int twice(int number) { return number * 2; }

const char* const texts[] = {"first text", "second text"};
int (*const functions[])(int) = {once, twice};
int (*function_of_another_file)(const char*) = imported;

int begin(int number) { return functions[number & 1](number) + imported(texts[number & 1]); }
