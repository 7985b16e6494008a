# One interface target carries the warning flags, so that they hold for our code and nothing else.
add_library(orvanta_warnings INTERFACE)
target_compile_options(orvanta_warnings INTERFACE -Wall -Wextra -Wpedantic -Werror)
