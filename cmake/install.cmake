# Installation: headers under include/pxinfo (users include <pxinfo/NAME.h>),
# both libraries with sonames, the tool, a pkg-config file and a CMake package
# with a namespaced target.
include(CMakePackageConfigHelpers)

install(TARGETS quentabase quentapxinfobase
  EXPORT quentapxinfobaseTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pxinfo)

# The installed tool finds the libraries relative to itself, so that a tree
# installed under any prefix (or unpacked below DESTDIR) runs as it is.
option(PXINFO_INSTALL_RUNPATH "Give the installed pxinfo a RUNPATH relative to its own directory" ON)
if(TARGET pxinfo)
  if(PXINFO_INSTALL_RUNPATH)
    file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(pxinfo PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  endif()
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

# The pkg-config file names absolute directories, as distributions expect
# (PKG_CONFIG_SYSROOT_DIR maps them into a staging tree). It is written at
# install time, so that "cmake --install --prefix DIR" gets DIR; a relative
# LIBDIR or INCLUDEDIR is kept relative to ${prefix}, an absolute one as given.
install(CODE "
  set(PXINFO_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(PXINFO_PC_LIBDIR [[${CMAKE_INSTALL_LIBDIR}]])
  set(PXINFO_PC_INCLUDEDIR [[${CMAKE_INSTALL_INCLUDEDIR}]])
  set(PROJECT_VERSION [[${PROJECT_VERSION}]])
  foreach(dir PXINFO_PC_LIBDIR PXINFO_PC_INCLUDEDIR)
    if(NOT IS_ABSOLUTE \"\${\${dir}}\")
      set(\${dir} \"\\\${prefix}/\${\${dir}}\")
    endif()
  endforeach()
  configure_file([[${CMAKE_CURRENT_SOURCE_DIR}/cmake/libquentapxinfobase.pc.in]]
    [[${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/libquentapxinfobase.pc]] @ONLY)
")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/libquentapxinfobase.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
