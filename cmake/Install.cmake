include(CMakePackageConfigHelpers)

install(TARGETS VXMesh VXViewer VXOrvanta EXPORT VXOrvantaTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS Orvanta orvanta-backend RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Headers that need a library which the package does not ask its users for stay inside.
set(ORVANTA_PRIVATE_HEADERS "/(Shaders|GlObjects|PictureCopy|GeometryCache|SceneRenderer|SceneView|GlbReader|GltfAccessors|GltfColor|GltfLimits|GltfPrimitives|CurlTransfer|CurlTransport|CallbackThreads|ImGuiContextOwner|KeyMap|EmbeddedIcons|ModalMessage|NotificationList|SavedNotice|ProgressModal|FileDialog|FolderListing|AxisTriad|RibbonItemButton|RibbonTopPanel|ShortcutSheet|SpaceMouse|CameraController|ImportContext|ForeignFormats|ReaderProcess|WriteAll|StandardOutput|Sandbox|FileView|PrivateMemory|Sanitizer|ChildProcess|BinaryPly|BlockWork|BinaryStl|MeshFile|PointFormats|VersionCheck)\\.h$")
foreach(name VXMesh VXViewer)
    install(DIRECTORY platform/${name}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${name}
        FILES_MATCHING PATTERN "*.h" REGEX "${ORVANTA_PRIVATE_HEADERS}" EXCLUDE)
endforeach()
install(DIRECTORY source/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/VXOrvanta
    FILES_MATCHING PATTERN "*.h" REGEX "${ORVANTA_PRIVATE_HEADERS}" EXCLUDE)

install(EXPORT VXOrvantaTargets NAMESPACE VX:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta)
configure_package_config_file(cmake/VXOrvantaConfig.cmake.in ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VXOrvantaConfig.cmake ${CMAKE_BINARY_DIR}/VXOrvantaConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VXOrvanta)
