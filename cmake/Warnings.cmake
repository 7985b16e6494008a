# One interface target carries the warning flags, so that they hold for our code and nothing else.
add_library(orvanta_warnings INTERFACE)
target_compile_options(orvanta_warnings INTERFACE -Wall -Wextra -Wpedantic -Werror)

# GCC 12 sees impossible overflows in the concatenation of std::string and literals (its bugs 105329 and 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(orvanta_warnings INTERFACE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
