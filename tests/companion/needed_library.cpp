// What needs_library.cpp needs.

int statusOfLibrary();

int statusOfLibrary() {
  return 0;
}
