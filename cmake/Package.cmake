# What a desktop and a system want besides the programs, and the Debian package, made by packaging/make-package.
set(linux packaging/linux)
install(FILES ${linux}/orvanta.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${linux}/orvanta.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${linux}/orvanta-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME orvanta.xml)
install(FILES ${linux}/orvanta.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
    RENAME example.orvanta.Orvanta.metainfo.xml)

# Packed as Debian wants it, without the time, so that the same tree makes the same package.
function(orvanta_install_packed source folder name)
    set(packed ${CMAKE_BINARY_DIR}/packed/${name}.gz)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packed)
    execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/${source} OUTPUT_FILE ${packed} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${source})
    install(FILES ${packed} DESTINATION ${folder})
endfunction()
orvanta_install_packed(${linux}/Orvanta.1 ${CMAKE_INSTALL_MANDIR}/man1 Orvanta.1)
orvanta_install_packed(${linux}/orvanta-backend.8 ${CMAKE_INSTALL_MANDIR}/man8 orvanta-backend.8)

option(ORVANTA_DEBIAN_PACKAGE "Install what only a Debian package has, such as the system service" OFF)
if(ORVANTA_DEBIAN_PACKAGE)
    install(FILES ${linux}/orvanta-backend.service DESTINATION lib/systemd/system)
    install(FILES packaging/monitoring/alerts.yml packaging/monitoring/dashboard.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvanta/examples)
    install(FILES packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvanta)
    orvanta_install_packed(packaging/debian/changelog ${CMAKE_INSTALL_DATADIR}/doc/orvanta changelog)
    install(FILES packaging/debian/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME orvanta)

    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGE_NAME orvanta)
    set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH})
    set(CPACK_PACKAGE_CONTACT "Orvanta developers <developers@orvanta.example>")
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
    set(CPACK_PACKAGE_DESCRIPTION "Opens meshes, point clouds and STEP models, shows their parts,
edges and colours, measures and edits them. STEP files are converted
by a service, which comes with it and runs in a sandbox.")
    set(CPACK_PACKAGE_FILE_NAME orvanta)
    set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
    set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
    set(CPACK_STRIP_FILES ON)
    set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser, libgl1-mesa-dri | libgl1, libegl1")
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "bubblewrap, libmimalloc2.0")
    set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/postinst
        ${CMAKE_SOURCE_DIR}/packaging/debian/prerm ${CMAKE_SOURCE_DIR}/packaging/debian/postrm
        ${CMAKE_SOURCE_DIR}/packaging/debian/triggers)
    set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
    include(CPack)
endif()
