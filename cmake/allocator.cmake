# ORVANE_MIMALLOC: whether mimalloc serves every allocation of the server, Qt's included. A large reply is millions of
# small allocations, and it takes a third less time (docs/performance.md). Sanitizers and valgrind bring their own.
option(ORVANE_MIMALLOC "Serve the server's allocations with mimalloc where it is installed" ON)

add_library(orvane_allocator INTERFACE)
if(ORVANE_MIMALLOC)
  find_package(mimalloc 2.0 QUIET)
  if(mimalloc_FOUND)
    # Its functions take the place of the C library's by standing before it on the link line.
    target_link_libraries(orvane_allocator INTERFACE mimalloc)
  else()
    message(NOTICE "mimalloc (Debian's libmimalloc-dev) is not installed: the C library allocates instead, more slowly.")
  endif()
endif()
