# Installation: headers under include/pxinfo, both libraries with sonames, the
# tool, a pkg-config file and a CMake package with a namespaced target.
include(CMakePackageConfigHelpers)

install(TARGETS quentabase quentapxinfobase
  EXPORT quentapxinfobaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pxinfo)
if(TARGET pxinfo)
  install(TARGETS pxinfo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(EXPORT quentapxinfobaseTargets
  NAMESPACE quentapxinfobase::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quentapxinfobase)
configure_package_config_file(${CMAKE_CURRENT_SOURCE_DIR}/cmake/quentapxinfobaseConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/quentapxinfobaseConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quentapxinfobase)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/quentapxinfobaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/quentapxinfobaseConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/quentapxinfobaseConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/quentapxinfobase)

configure_file(${CMAKE_CURRENT_SOURCE_DIR}/cmake/libquentapxinfobase.pc.in
  ${CMAKE_CURRENT_BINARY_DIR}/libquentapxinfobase.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libquentapxinfobase.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
