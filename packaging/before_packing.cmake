# Run by CPack when the files of one package, or of each component's, are in place and not yet packed.
if(CPACK_GENERATOR STREQUAL "TGZ")
  # The archive brings its libraries along; the Debian packages name those they depend on instead.
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/collect_libraries.py" "${CPACK_TEMPORARY_INSTALL_DIRECTORY}"
                  COMMAND_ERROR_IS_FATAL ANY)
else()
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/add_debian_files.py" "${CPACK_TEMPORARY_INSTALL_DIRECTORY}"
                          "${CPACK_PACKAGE_VERSION}" "${CPACK_PACKAGE_CONTACT}"
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
