find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# Boost 1.74 and 1.81 stand side by side in Debian 12's archive; signals2 and Beast of the older one do not serve.
find_package(Boost QUIET)
if(NOT Boost_FOUND OR Boost_VERSION VERSION_LESS 1.81)
    message(FATAL_ERROR
        "Orvanta needs the headers of Boost 1.81 or newer (found: '${Boost_VERSION}'). "
        "On Debian 12: apt-get install libboost1.81-dev, which replaces libboost1.74-dev.")
endif()

find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(tl-expected REQUIRED)
find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(glfw3 3.3 REQUIRED)
find_package(Freetype REQUIRED)
find_package(CLI11 REQUIRED)
find_package(meshoptimizer REQUIRED)
pkg_check_modules(jsoncpp REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(libzip REQUIRED IMPORTED_TARGET libzip)
pkg_check_modules(libdeflate REQUIRED IMPORTED_TARGET libdeflate)
pkg_check_modules(epoxy REQUIRED IMPORTED_TARGET epoxy)
pkg_check_modules(egl REQUIRED IMPORTED_TARGET egl)
pkg_check_modules(stb REQUIRED IMPORTED_TARGET stb)
pkg_check_modules(sodium REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(seccomp REQUIRED IMPORTED_TARGET libseccomp)
pkg_check_modules(spnav REQUIRED IMPORTED_TARGET spnav)
pkg_check_modules(assimp REQUIRED IMPORTED_TARGET assimp)

find_path(IMGUI_INCLUDE_DIR imgui.h PATH_SUFFIXES imgui REQUIRED)
find_library(IMGUI_ARCHIVE NAMES libimgui.a REQUIRED)
