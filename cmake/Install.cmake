include(CMakePackageConfigHelpers)

# The components are the Debian packages that cmake/Package.cmake makes of them.
set(ORVANTA_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta)
foreach(pair VXMesh:libvxmesh0 VXViewer:liborvanta0 VXOrvanta:liborvanta0)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 library)
    list(GET pair 1 component)
    install(TARGETS ${library} EXPORT VXOrvantaTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT liborvanta-dev
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT liborvanta-dev)
endforeach()
install(TARGETS Orvanta RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT orvanta)
install(TARGETS orvanta-backend RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT orvanta-backend-bin)

install(EXPORT VXOrvantaTargets NAMESPACE VX:: DESTINATION ${ORVANTA_PACKAGE_FOLDER} COMPONENT liborvanta-dev)
configure_package_config_file(cmake/VXOrvantaConfig.cmake.in ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake
    INSTALL_DESTINATION ${ORVANTA_PACKAGE_FOLDER} PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake ${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake
    DESTINATION ${ORVANTA_PACKAGE_FOLDER} COMPONENT liborvanta-dev)
