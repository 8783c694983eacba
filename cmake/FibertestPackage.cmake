# Installation: the shared library, its headers, the CLI, an exported CMake
# package (find_package(fibertest)) and a pkg-config file.
include(CMakePackageConfigHelpers)

set(FIBERTEST_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/fibertest")

install(TARGETS fibertest EXPORT fibertestTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/fibertest)
install(TARGETS fibertest_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers keep their folder: <fibertest/util/crc.h>. Private headers
# (*-p.h) stay in the source tree.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/src/"
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fibertest
  FILES_MATCHING PATTERN "*.h" PATTERN "*-p.h" EXCLUDE)
install(DIRECTORY "${FIBERTEST_GENERATED_INCLUDE}/"
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/fibertest)

install(EXPORT fibertestTargets
  NAMESPACE fibertest::
  DESTINATION ${FIBERTEST_PACKAGE_DIR})
configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/fibertestConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/fibertestConfig.cmake"
  INSTALL_DESTINATION ${FIBERTEST_PACKAGE_DIR})
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/fibertestConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/fibertestConfig.cmake"
  "${PROJECT_BINARY_DIR}/fibertestConfigVersion.cmake"
  DESTINATION ${FIBERTEST_PACKAGE_DIR})

configure_file("${CMAKE_CURRENT_LIST_DIR}/fibertest.pc.in" "${PROJECT_BINARY_DIR}/fibertest.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/fibertest.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
