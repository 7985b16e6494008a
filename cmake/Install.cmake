include(CMakePackageConfigHelpers)

install(TARGETS VXMesh VXViewer VXOrvanta EXPORT VXOrvantaTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS Orvanta orvanta-backend RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(EXPORT VXOrvantaTargets NAMESPACE VX:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta)
configure_package_config_file(cmake/VXOrvantaConfig.cmake.in ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake ${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta)
