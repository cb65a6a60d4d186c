# Read by CPack once for each kind of package.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "AI assistants in the disassembler Orvane")
  set(CPACK_MONOLITHIC_INSTALL OFF)
  set(CPACK_COMPONENTS_ALL ${CPACK_ORVANE_COMPONENTS})
endif()
