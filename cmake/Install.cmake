# Installation, package config, pkg-config file and Debian package.
#
#   cmake --install build/release --prefix /opt/ovutility
#   cd build/release && cpack -G DEB        # ovutility_<version>_<arch>.deb
include(CMakePackageConfigHelpers)

install(TARGETS OVLog OVUtility ${OV_ADAPTER_TARGETS} EXPORT OVUtilityTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Headers and every file a header includes (the .def lists of features and
# string keys are expanded inside public headers).
install(DIRECTORY OVLog/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OVLog FILES_MATCHING PATTERN "*.h")
install(DIRECTORY OVUtility/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OVUtility
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def"
  PATTERN "Resources" EXCLUDE)
# The generated export macro headers.
install(FILES ${OV_EXPORT_INCLUDE_DIR}/OVLog/OVLogExport.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OVLog)
install(FILES ${OV_EXPORT_INCLUDE_DIR}/OVUtility/OVUtilityExport.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/OVUtility)
install(EXPORT OVUtilityTargets NAMESPACE OVUtility:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OVUtility)

configure_package_config_file(cmake/OVUtilityConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/OVUtilityConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OVUtility)
# Compatibility follows the SONAME: the minor version while the major is 0.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(OV_VERSION_COMPATIBILITY SameMinorVersion)
else()
  set(OV_VERSION_COMPATIBILITY SameMajorVersion)
endif()
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/OVUtilityConfigVersion.cmake
  COMPATIBILITY ${OV_VERSION_COMPATIBILITY})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/OVUtilityConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/OVUtilityConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/OVUtility)

# pkg-config: a static library needs its private dependencies on the link
# line of whoever links it, a shared one does not.
set(OV_PC_CFLAGS "")
if(BUILD_SHARED_LIBS)
  set(OV_PC_REQUIRES "spdlog fmt nlohmann_json")
  set(OV_PC_REQUIRES_PRIVATE "icu-uc icu-i18n libcrypto harfbuzz freetype2 fontconfig liburiparser")
else()
  set(OV_PC_REQUIRES "spdlog fmt nlohmann_json icu-uc icu-i18n libcrypto harfbuzz freetype2 fontconfig liburiparser")
  set(OV_PC_REQUIRES_PRIVATE "")
  # The export macros of a static library expand to nothing.
  set(OV_PC_CFLAGS " -DOVLOG_STATIC_DEFINE -DOVUTILITY_STATIC_DEFINE")
endif()
file(RELATIVE_PATH OV_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" OV_PC_TO_PREFIX "${OV_PC_TO_PREFIX}")
configure_file(cmake/ovutility.pc.in ${CMAKE_CURRENT_BINARY_DIR}/ovutility.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ovutility.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Debian package: library, headers, CMake config, pkg-config file, ovutil and
# its sample data. Installable with `apt-get install ./ovutility_*.deb`.
set(CPACK_PACKAGE_NAME ovutility)
set(CPACK_PACKAGE_VENDOR "Orvanta")
set(CPACK_PACKAGE_CONTACT "OVUtility maintainers <ovutility@orvanta.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "C++ utility library: task framework, dispatch queues, caches, feature flags")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# What a program built against the installed package needs to compile and link.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "libspdlog-dev, libfmt-dev, nlohmann-json3-dev, libicu-dev, libssl-dev, libharfbuzz-dev, libfreetype-dev, libfontconfig-dev, liburiparser-dev")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libglib2.0-dev, libboost-dev")
include(CPack)
