# Installation: the shared library, the header, a CMake package
# (find_package(CorvelAlg) gives CorvelAlg::CorvelAlg) and a pkg-config file.
include(CMakePackageConfigHelpers)

set(CORVEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/CorvelAlg)
set(CORVEL_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS CorvelAlg
  EXPORT CorvelAlgTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/CorvelAlg.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT CorvelAlgTargets
  NAMESPACE CorvelAlg::
  DESTINATION ${CORVEL_CMAKE_DIR})

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/CorvelAlgConfig.cmake.in
  ${PROJECT_BINARY_DIR}/CorvelAlgConfig.cmake
  INSTALL_DESTINATION ${CORVEL_CMAKE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/CorvelAlgConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/CorvelAlgConfig.cmake
  ${PROJECT_BINARY_DIR}/CorvelAlgConfigVersion.cmake
  DESTINATION ${CORVEL_CMAKE_DIR})

# The .pc file finds its prefix relative to its own folder, so an installed
# tree can be moved.
file(RELATIVE_PATH CORVEL_PC_TO_PREFIX
  "/prefix/${CORVEL_PKGCONFIG_DIR}" "/prefix")
string(REGEX REPLACE "/$" "" CORVEL_PC_TO_PREFIX "${CORVEL_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/CorvelAlg.pc.in
  ${PROJECT_BINARY_DIR}/CorvelAlg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/CorvelAlg.pc DESTINATION ${CORVEL_PKGCONFIG_DIR})
