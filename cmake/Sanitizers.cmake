set(ORVANTA_SANITIZER "" CACHE STRING "Sanitizer to build everything with: empty, address or thread")
if(ORVANTA_SANITIZER STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
    # Empty optionals, fronts of empty containers and indices behind the end end the program, too.
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
elseif(ORVANTA_SANITIZER STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    # Boost.Asio has fences that the thread sanitizer does not see; nothing here relies on them.
    add_compile_options(-Wno-tsan)
    add_link_options(-fsanitize=thread)
elseif(ORVANTA_SANITIZER)
    message(FATAL_ERROR "ORVANTA_SANITIZER must be empty, 'address' or 'thread', not '${ORVANTA_SANITIZER}'")
endif()
