# FindLIEF: the parser of ELF, PE and Mach-O files, which comes from Debian without a CMake package of its own.
#
# Defines LIEF_FOUND, LIEF_VERSION and the imported target LIEF::LIEF.
find_path(LIEF_INCLUDE_DIR NAMES LIEF/LIEF.hpp)
find_library(LIEF_LIBRARY NAMES LIEF)
mark_as_advanced(LIEF_INCLUDE_DIR LIEF_LIBRARY)

if(LIEF_INCLUDE_DIR AND EXISTS "${LIEF_INCLUDE_DIR}/LIEF/version.h")
  file(STRINGS "${LIEF_INCLUDE_DIR}/LIEF/version.h" line REGEX "define LIEF_VERSION +\"")
  string(REGEX MATCH "[0-9]+\\.[0-9]+\\.[0-9]+" LIEF_VERSION "${line}")
  unset(line)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LIEF REQUIRED_VARS LIEF_LIBRARY LIEF_INCLUDE_DIR VERSION_VAR LIEF_VERSION)

if(LIEF_FOUND AND NOT TARGET LIEF::LIEF)
  add_library(LIEF::LIEF UNKNOWN IMPORTED)
  # An imported target's headers count as the system's, so that its warnings are not ours.
  set_target_properties(LIEF::LIEF PROPERTIES
    IMPORTED_LOCATION "${LIEF_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LIEF_INCLUDE_DIR}")
endif()
