# Warnings of our own code. CMAKE_COMPILE_WARNING_AS_ERROR (on in every preset) makes them errors.
add_library(orvane_warnings INTERFACE)
target_compile_options(orvane_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wmissing-declarations -Wundef
  -Wextra-semi -Wformat=2
  # g++ 12 sees uninitialised values in std::optional, and overlapping copies in "text" + std::string, where there are
  # none; clang does not know these warnings.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# Qt's foreach and friends stay out of our code.
target_compile_definitions(orvane_warnings INTERFACE QT_NO_KEYWORDS QT_NO_FOREACH)
