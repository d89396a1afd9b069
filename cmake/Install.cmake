# Header, libraries, the CMake package (Bravic::bravic, Bravic::bravic_static) and the pkg-config file.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Bravic)

install(FILES include/bravic.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS bravic bravic_static EXPORT BravicTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT BravicTargets NAMESPACE Bravic:: DESTINATION ${package_dir})

configure_package_config_file(cmake/BravicConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/BravicConfig.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/BravicConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/BravicConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/BravicConfigVersion.cmake
        DESTINATION ${package_dir})

# The prefix is worked out from the file's own place, so that the installed tree can be moved.
file(RELATIVE_PATH PKGCONFIG_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" PKGCONFIG_TO_PREFIX "${PKGCONFIG_TO_PREFIX}")
configure_file(cmake/bravic.pc.in bravic.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/bravic.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
