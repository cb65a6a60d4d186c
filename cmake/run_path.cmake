# orvane_set_run_path(<program> [<folder>...]): in which folders an installed program looks for its libraries before the
# loader's own. It does so in the build folder as well: CMake would put another run path there, and make room in it with
# empty elements, which to the loader are the working directory.
function(orvane_set_run_path program)
  set_target_properties(${program} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${ARGN}")
endfunction()

# Qt's folder, if the loader does not look there by itself.
get_target_property(qt_core Qt6::Core LOCATION)
get_filename_component(ORVANE_QT_FOLDER "${qt_core}" DIRECTORY)
if(ORVANE_QT_FOLDER IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
  set(ORVANE_QT_FOLDER "")
endif()

# orvane_share_libraries_of_host(<program>): the program is installed with the host application, whose libraries it
# shares. In the build folder, Qt's stand in their place.
function(orvane_share_libraries_of_host program)
  orvane_set_run_path(${program} "$ORIGIN/../lib" "$ORIGIN/../.")
  if(ORVANE_QT_FOLDER)
    file(CREATE_LINK "${ORVANE_QT_FOLDER}" "${CMAKE_CURRENT_BINARY_DIR}/../lib" SYMBOLIC)
  endif()
endfunction()
