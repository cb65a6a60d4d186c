// A program that cannot start without the library beside it.

int statusOfLibrary();

int main() {
  return statusOfLibrary();
}
