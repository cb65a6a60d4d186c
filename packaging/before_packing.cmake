# Run by CPack when the files of one package are in place and not yet packed.
if(CPACK_GENERATOR STREQUAL "TGZ")
  # The archive brings its libraries along; the Debian package names those it depends on instead.
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/collect_libraries.py" "${CPACK_TEMPORARY_INSTALL_DIRECTORY}"
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
