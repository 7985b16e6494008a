# The Debian packages, one for each component. The libraries are apart from the program because the back end needs one
# of them and no window; the back end's program is apart from its services because installing a service starts it, and a
# machine that converts for others, or a user who converts a file, wants no service of its own.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_PACKAGE_NAME orvanta)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH})
# As the newest entry of packaging/debian/changelog.
set(CPACK_DEBIAN_PACKAGE_RELEASE 2)
# Each package has its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "Orvanta developers <developers@orvanta.example>")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE orvanta)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
# The libraries promise nobody an interface that stays: all that is built together is installed together.
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Of the one package that there was.
set(single "orvanta (<< 0.1.0-2)")

# The unit of a service, its settings, and what is done when it comes and goes; a user of its name runs it.
macro(orvanta_service service settings)
    set(SERVICE ${service})
    set(SETTINGS ${settings})
    foreach(script postinst prerm postrm conffiles)
        configure_file(packaging/debian/service/${script}.in ${CMAKE_BINARY_DIR}/debian/${SERVICE}/${script} @ONLY)
        list(APPEND control ${CMAKE_BINARY_DIR}/debian/${SERVICE}/${script})
    endforeach()
    install(FILES ${linux}/${SERVICE}.service DESTINATION lib/systemd/system COMPONENT ${SERVICE})
    install(FILES ${linux}/${SETTINGS} DESTINATION /etc/orvanta COMPONENT ${SERVICE})
endmacro()

# A package with the files of the component of its name: NAME SECTION section SUMMARY line TEXT paragraph, from other
# packages of ours NEEDS names, from others DEPENDS, RECOMMENDS and SUGGESTS lists, FROM_SINGLE for one with files that
# were in the one package, ALL for one without programs, CONTROL files of the maintainer, SERVICE the file of settings of
# a system service, which has the package's name.
macro(orvanta_package name)
    cmake_parse_arguments(package "FROM_SINGLE;ALL" "SECTION;SUMMARY;TEXT;DEPENDS;RECOMMENDS;SUGGESTS;SERVICE" "NEEDS;CONTROL"
        ${ARGN})
    string(TOUPPER ${name} upper)
    list(APPEND CPACK_COMPONENTS_ALL ${name})
    set(CPACK_COMPONENT_${upper}_DEPENDS ${package_NEEDS})
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${package_SUMMARY}\n${package_TEXT}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${package_SECTION})
    foreach(field DEPENDS RECOMMENDS SUGGESTS)
        set(CPACK_DEBIAN_${upper}_PACKAGE_${field} "${package_${field}}")
    endforeach()
    set(control ${package_CONTROL})
    if(package_SERVICE)
        orvanta_service(${name} ${package_SERVICE})
    endif()
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${control})
    if(package_FROM_SINGLE)
        set(CPACK_DEBIAN_${upper}_PACKAGE_BREAKS "${single}")
        set(CPACK_DEBIAN_${upper}_PACKAGE_REPLACES "${single}")
    endif()
    if(package_ALL)
        set(CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE all)
    endif()
    set(doc ${CMAKE_INSTALL_DATADIR}/doc/${name})
    install(FILES packaging/debian/copyright DESTINATION ${doc} COMPONENT ${name})
    orvanta_install_packed(packaging/debian/changelog ${doc} changelog.Debian ${name})
    if(EXISTS ${CMAKE_SOURCE_DIR}/packaging/debian/overrides/${name})
        install(FILES packaging/debian/overrides/${name} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
            COMPONENT ${name})
    endif()
endmacro()

set(debian ${CMAKE_SOURCE_DIR}/packaging/debian)
orvanta_package(libvxmesh0 FROM_SINGLE SECTION libs
    SUMMARY "Scenes, meshes and file formats of Orvanta"
    TEXT "Library of values, objects of a scene, and their files, with a process of
its own that reads foreign formats. It needs no display."
    CONTROL ${debian}/library/triggers)
orvanta_package(liborvanta0 FROM_SINGLE SECTION libs NEEDS libvxmesh0
    SUMMARY "Framework and product libraries of Orvanta"
    TEXT "Libraries of a viewer's window, drawing, tools and settings, and of accounts
and the remote conversion of STEP files."
    DEPENDS "libgl1-mesa-dri | libgl1, libegl1"
    CONTROL ${debian}/library/triggers ${debian}/liborvanta0/postinst ${debian}/liborvanta0/postrm)
orvanta_package(liborvanta-dev FROM_SINGLE SECTION libdevel NEEDS libvxmesh0 liborvanta0
    SUMMARY "Headers and CMake package of the libraries of Orvanta"
    TEXT "For programs that link VX::Mesh, VX::Viewer or VX::Orvanta:
find_package(VXOrvanta CONFIG REQUIRED) finds them."
    DEPENDS "libboost1.81-dev, libexpected-dev, libimgui-dev, libjsoncpp-dev, pkg-config")
orvanta_package(orvanta SECTION graphics NEEDS libvxmesh0 liborvanta0
    SUMMARY "${PROJECT_DESCRIPTION}"
    TEXT "Opens meshes, point clouds and STEP models, shows their parts, edges and
colours, measures and edits them. STEP files are converted by the service
of the package orvanta-backend, or with --local by its program alone."
    RECOMMENDS "orvanta-backend")
orvanta_package(orvanta-backend-bin FROM_SINGLE SECTION net NEEDS libvxmesh0
    SUMMARY "Services of Orvanta, the program"
    TEXT "Signs users in, converts STEP files in sandboxed workers and collects usage
statistics. It converts single files without any service, too. The packages
orvanta-backend and orvanta-worker run it as system services."
    RECOMMENDS "bubblewrap, libmimalloc2.0")
orvanta_package(orvanta-backend FROM_SINGLE ALL SECTION net NEEDS orvanta-backend-bin
    SUMMARY "Services of Orvanta, as a system service"
    TEXT "Starts all services of Orvanta on this machine, in a folder of their own.
With other settings it is one of several front ends, whose files are converted
by machines with the package orvanta-worker."
    DEPENDS "adduser, bubblewrap" SUGGESTS "haproxy, postgresql"
    SERVICE backend.conf)
install(FILES ${linux}/haproxy.cfg packaging/monitoring/alerts.yml packaging/monitoring/dashboard.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvanta-backend/examples COMPONENT orvanta-backend)
orvanta_package(orvanta-worker ALL SECTION net NEEDS orvanta-backend-bin
    SUMMARY "Converter of STEP files for services of Orvanta, as a system service"
    TEXT "Converts files that front ends on other machines have taken. It shares a
PostgreSQL and a bucket with them, and starts once it is told where they are."
    DEPENDS "adduser, bubblewrap"
    SERVICE worker.conf)

include(CPack)
