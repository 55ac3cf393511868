# Installs the unit's library, its headers and the host declarations, with a CMake package and a
# pkg-config file.
include(CMakePackageConfigHelpers)

set(PIS_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/SignallingController)
set(PIS_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/SignallingController)

install(TARGETS SignallingController EXPORT SignallingControllerTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT unit)
install(FILES src/SignallingController.h src/SignallingCodes.h
        DESTINATION ${PIS_HEADER_DIR}/src COMPONENT unit)
install(FILES resource/common/stringUtils.h
        DESTINATION ${PIS_HEADER_DIR}/resource/common COMPONENT unit)
install(FILES host/EventItem.h host/KEBlist.h host/QXReceiver.h host/debug.h host/hostStrings.h host/qxMutex.h
        DESTINATION ${PIS_HEADER_DIR}/host COMPONENT unit)

install(EXPORT SignallingControllerTargets NAMESPACE SignallingController::
        DESTINATION ${PIS_PACKAGE_DIR} COMPONENT unit)
configure_package_config_file(cmake/SignallingControllerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/SignallingControllerConfig.cmake INSTALL_DESTINATION ${PIS_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SignallingControllerConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SignallingControllerConfig.cmake
              ${PROJECT_BINARY_DIR}/SignallingControllerConfigVersion.cmake
        DESTINATION ${PIS_PACKAGE_DIR} COMPONENT unit)

# The file finds its way from where it stands, so that an installed unit may be moved.
file(RELATIVE_PATH PIS_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/signallingcontroller.pc.in ${PROJECT_BINARY_DIR}/signallingcontroller.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/signallingcontroller.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT unit)
