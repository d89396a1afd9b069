# Headers, libraries, the CMake package (Bravic::bravic, Bravic::bravic_static, and Bravic::bravic_formats likewise), the
# pkg-config files and the documentation, in two components: runtime and development.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Bravic)

install(FILES include/bravic.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(BRAVIC_FORMATS_LIBRARIES)
  install(FILES include/bravic_formats.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endif()
install(TARGETS ${BRAVIC_LIBRARIES} ${BRAVIC_FORMATS_LIBRARIES} EXPORT BravicTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(EXPORT BravicTargets NAMESPACE Bravic:: DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/BravicConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/BravicConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/BravicConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/BravicConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/BravicConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The prefix is worked out from the file's own place, so that the installed tree can be moved; where a folder is
# given by its whole path, it stays as it is.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(PKGCONFIG_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(PKGCONFIG_LIBDIR ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH PKGCONFIG_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" PKGCONFIG_PREFIX "\${pcfiledir}/${PKGCONFIG_PREFIX}")
  set(PKGCONFIG_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
set(PKGCONFIG_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(PKGCONFIG_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
endif()
# Beside a shared library only those who link statically need the C++ library by name.
string(STRIP "-lstdc++ -lm ${CMAKE_THREAD_LIBS_INIT}" PKGCONFIG_LIBS_PRIVATE)
if(NOT bravic IN_LIST BRAVIC_LIBRARIES)
  set(PKGCONFIG_LIBS " ${PKGCONFIG_LIBS_PRIVATE}")
  set(PKGCONFIG_CFLAGS " -DBRAVIC_STATIC")
endif()
configure_file(cmake/bravic.pc.in bravic.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bravic.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
if(BRAVIC_FORMATS_LIBRARIES)
  # The static library needs pugixml's beside it, but where that was built along with it.
  if(NOT BRAVIC_PUGIXML_SOURCE)
    set(PKGCONFIG_FORMATS_PRIVATE -lpugixml)
  endif()
  if(NOT bravic_formats IN_LIST BRAVIC_FORMATS_LIBRARIES)
    set(PKGCONFIG_FORMATS_LIBS " ${PKGCONFIG_FORMATS_PRIVATE}")
  endif()
  configure_file(cmake/bravic_formats.pc.in bravic_formats.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bravic_formats.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endif()

# The page that nets are explored in, as it opens files by itself.
install(FILES share/bravic/explorer.html DESTINATION ${CMAKE_INSTALL_DATADIR}/bravic COMPONENT runtime)
install(FILES LICENSE NOTICES.md README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
