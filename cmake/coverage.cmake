# ORVANE_COVERAGE: count which lines and branches run. `./run check coverage` reads the counts.
option(ORVANE_COVERAGE "Build for measuring the tests' coverage" OFF)

if(ORVANE_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
