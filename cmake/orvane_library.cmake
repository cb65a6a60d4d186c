# orvane_library(<room> HEADERS <public headers> SOURCES <sources and private headers> [LIBRARIES <targets>])
#
# Declares the target of one room: orvane_json for src/json (room "json"), orvane_companion_serve for companion/serve
# (room "companion/serve"). An OBJECT library: what a lower room declares and a higher one defines then links in any
# order, at the price that an executable lists every one it needs. Public headers are checked to compile alone.
#
# Rooms of src/ are included from there ("json/json.h"), all others from the top ("companion/serve/relay.h").
function(orvane_library room)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;SOURCES;LIBRARIES")
  string(REPLACE "/" "_" target "orvane_${room}")
  if(room MATCHES "/")
    set(base "${PROJECT_SOURCE_DIR}")
  else()
    set(base "${PROJECT_SOURCE_DIR}/src")
  endif()
  # Two file sets, for the folders of one may not lie within each other, and the build folder often lies in the source.
  set(generated_headers ${arg_HEADERS})
  list(FILTER generated_headers INCLUDE REGEX "/generated/")
  list(FILTER arg_HEADERS EXCLUDE REGEX "/generated/")
  add_library(${target} OBJECT)
  target_sources(${target}
    PRIVATE ${arg_SOURCES}
    PUBLIC FILE_SET HEADERS BASE_DIRS "${base}" FILES ${arg_HEADERS}
    PUBLIC FILE_SET generated_headers TYPE HEADERS BASE_DIRS "${PROJECT_BINARY_DIR}/generated"
           FILES ${generated_headers})
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_link_libraries(${target} PRIVATE orvane_warnings PUBLIC ${arg_LIBRARIES})
  # Branches that the compiler adds for exceptions would be counted. Below src/ only json throws one itself.
  if(ORVANE_COVERAGE AND NOT room MATCHES "/|^json$")
    target_compile_options(${target} PRIVATE -fno-exceptions)
  endif()
endfunction()
