# cmake -DROOT=<top of the repository> -P include_arrows.cmake
#
# Includes between rooms run along the arrows only. A room is a folder with sources of its own; its row names the
# rooms it may include beside itself. Fails with one line for each include that runs another way, and for each folder
# that has no row.
cmake_minimum_required(VERSION 3.25)

set(rooms
  # room                may include
  "src/json"
  "src/ipc"
  "src/mcp              src/json"
  "src/server           src/mcp src/json"
  "src/tools            src/mcp src/json src/ipc"
  "src/app              src/server src/tools src/mcp src/json src/ipc"
  "devhost/image"
  "devhost/code         devhost/image"
  "devhost/document     devhost/code devhost/image"
  "devhost/requests     devhost/document devhost/code devhost/image"
  "devhost              devhost/requests devhost/document"
  "devhost/demo         companion/session companion/common"
  "companion/common"
  "companion/session    companion/common"
  "companion/serve      companion/session companion/common src/json"
  "companion/clients    companion/session companion/common"
  "companion/call       companion/session companion/common"
  "companion/doctor     companion/clients companion/session companion/common"
  "companion            companion/serve companion/clients companion/call companion/doctor companion/common")

# Below src/ an include names its room alone ("json/json.h"), elsewhere the whole way ("companion/serve/relay.h").
function(room_of include result)
  string(REGEX REPLACE "/[^/]*$" "" room "${include}")
  if(room MATCHES "^(json|ipc|mcp|server|tools|app)$")
    set(room "src/${room}")
  endif()
  set(${result} "${room}" PARENT_SCOPE)
endfunction()

set(wrong 0)
foreach(row IN LISTS rooms)
  separate_arguments(row)
  list(POP_FRONT row room)
  list(APPEND known_rooms "${room}")
  file(GLOB files "${ROOT}/${room}/*.h" "${ROOT}/${room}/*.cpp" "${ROOT}/${room}/*.h.in")
  foreach(file IN LISTS files)
    # Every include with a folder in quotes, and any other that names a room.
    file(STRINGS "${file}" includes
      REGEX "^[ \t]*#[ \t]*include[ \t]+(\"[^\"]*/|<(json|ipc|mcp|server|tools|app|companion|devhost)/)")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^[^\"<]*[\"<]([^\">]*).*" "\\1" path "${include}")
      room_of("${path}" target)
      if(NOT target STREQUAL room AND NOT target IN_LIST row)
        file(RELATIVE_PATH name "${ROOT}" "${file}")
        message(SEND_ERROR "${name} may not say ${include}")
        set(wrong 1)
      endif()
    endforeach()
  endforeach()
endforeach()

file(GLOB_RECURSE files RELATIVE "${ROOT}" "${ROOT}/src/*.cpp" "${ROOT}/src/*.h" "${ROOT}/devhost/*.cpp"
     "${ROOT}/devhost/*.h" "${ROOT}/companion/*.cpp" "${ROOT}/companion/*.h")
foreach(file IN LISTS files)
  get_filename_component(room "${file}" DIRECTORY)
  if(NOT room IN_LIST known_rooms)
    message(SEND_ERROR "${file} stands in a folder that has no row here")
    set(wrong 1)
  endif()
endforeach()

if(NOT wrong)
  message(STATUS "All includes run along the arrows.")
endif()
