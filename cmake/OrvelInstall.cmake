# SPDX-License-Identifier: MIT
# The installed tree: headers, library and the package that find_package(orvel CONFIG) finds. It can
# be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(orvelPackageDir "${CMAKE_INSTALL_LIBDIR}/cmake/orvel")

# Debug and Release then live side by side in one tree.
set_target_properties(orvel PROPERTIES DEBUG_POSTFIX d)

install(TARGETS orvel
  EXPORT orvelTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT orvelTargets NAMESPACE orvel:: DESTINATION "${orvelPackageDir}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/orvelConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/cmake/orvelConfig.cmake"
  INSTALL_DESTINATION "${orvelPackageDir}"
  NO_SET_AND_CHECK_MACRO)
# Until 1.0 a minor version may change what a program relies on.
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/cmake/orvelConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/cmake/orvelConfig.cmake"
  "${PROJECT_BINARY_DIR}/cmake/orvelConfigVersion.cmake"
  DESTINATION "${orvelPackageDir}")
if(MSVC)
  target_sources(orvel INTERFACE "$<INSTALL_INTERFACE:${orvelPackageDir}/orvel.natvis>")
  install(FILES "${PROJECT_SOURCE_DIR}/orvel/orvel.natvis" DESTINATION "${orvelPackageDir}")
endif()
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/orvel")
