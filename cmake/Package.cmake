# What a desktop and a system want besides the programs, and the Debian packages, made by packaging/make-package.
set(linux packaging/linux)
install(FILES ${linux}/orvanta.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT orvanta)
install(FILES ${linux}/orvanta.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT orvanta)
install(FILES ${linux}/orvanta-mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages RENAME orvanta.xml
    COMPONENT orvanta)
install(FILES ${linux}/orvanta.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo
    RENAME example.orvanta.Orvanta.metainfo.xml COMPONENT orvanta)

# Packed as Debian wants it, without the time, so that the same tree makes the same package.
function(orvanta_install_packed source folder name component)
    set(packed ${CMAKE_BINARY_DIR}/packed/${name}.gz)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packed)
    execute_process(COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/${source} OUTPUT_FILE ${packed} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${source})
    install(FILES ${packed} DESTINATION ${folder} COMPONENT ${component})
endfunction()
orvanta_install_packed(${linux}/Orvanta.1 ${CMAKE_INSTALL_MANDIR}/man1 Orvanta.1 orvanta)
orvanta_install_packed(${linux}/orvanta-backend.8 ${CMAKE_INSTALL_MANDIR}/man8 orvanta-backend.8 orvanta-backend-bin)

option(ORVANTA_DEBIAN_PACKAGE "Install what only Debian packages have, such as the system services" OFF)
if(ORVANTA_DEBIAN_PACKAGE)
    include(cmake/DebianPackages.cmake)
endif()
