# FindCapstone: the disassembler. Defines Capstone_FOUND, Capstone_VERSION and the imported target
# Capstone::Capstone.
find_path(Capstone_INCLUDE_DIR NAMES capstone/capstone.h)
find_library(Capstone_LIBRARY NAMES capstone)
mark_as_advanced(Capstone_INCLUDE_DIR Capstone_LIBRARY)

if(Capstone_INCLUDE_DIR)
  file(STRINGS "${Capstone_INCLUDE_DIR}/capstone/capstone.h" lines REGEX "define CS_VERSION_(MAJOR|MINOR|EXTRA)|define CS_API_(MAJOR|MINOR) +[0-9]+")
  set(Capstone_VERSION "")
  foreach(part IN ITEMS "API_MAJOR" "API_MINOR" "VERSION_EXTRA")
    if("${lines}" MATCHES "CS_${part} +([0-9]+)")
      list(APPEND Capstone_VERSION "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  list(JOIN Capstone_VERSION "." Capstone_VERSION)
  unset(lines)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Capstone REQUIRED_VARS Capstone_LIBRARY Capstone_INCLUDE_DIR
                                  VERSION_VAR Capstone_VERSION)

if(Capstone_FOUND AND NOT TARGET Capstone::Capstone)
  add_library(Capstone::Capstone UNKNOWN IMPORTED)
  set_target_properties(Capstone::Capstone PROPERTIES
    IMPORTED_LOCATION "${Capstone_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Capstone_INCLUDE_DIR}")
endif()
