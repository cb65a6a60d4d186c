# orvane_library(<folder> HEADERS <public headers> SOURCES <sources and private headers> [LIBRARIES <targets>])
#
# Declares the target orvane_<folder> for one folder of src/. An OBJECT library: what a lower folder declares
# and a higher one defines then links in any order, at the price that an executable lists every one it needs.
# Public headers are checked to compile alone.
function(orvane_library folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;SOURCES;LIBRARIES")
  add_library(orvane_${folder} OBJECT)
  target_sources(orvane_${folder}
    PRIVATE ${arg_SOURCES}
    PUBLIC FILE_SET HEADERS
           BASE_DIRS "${PROJECT_SOURCE_DIR}/src" "${PROJECT_BINARY_DIR}/generated"
           FILES ${arg_HEADERS})
  target_compile_features(orvane_${folder} PUBLIC cxx_std_20)
  target_link_libraries(orvane_${folder} PRIVATE orvane_warnings PUBLIC ${arg_LIBRARIES})
  # Branches that the compiler adds for exceptions would be counted. Only json throws one itself.
  if(ORVANE_COVERAGE AND NOT folder STREQUAL "json")
    target_compile_options(orvane_${folder} PRIVATE -fno-exceptions)
  endif()
endfunction()
