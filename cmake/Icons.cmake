# The drawings of the interface become PNG files at build time, larger than shown; they are scaled down to the pixel when used.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)

# Gives a library the SVG files of a folder and those below it; each is known by its file's name.
function(vx_embed_icons target folder)
    file(GLOB_RECURSE drawings CONFIGURE_DEPENDS "${folder}/*.svg")
    set(pngs)
    file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/icons")
    foreach(svg ${drawings})
        get_filename_component(name "${svg}" NAME_WE)
        set(png "${CMAKE_CURRENT_BINARY_DIR}/icons/${name}.png")
        add_custom_command(OUTPUT ${png} COMMAND ${RSVG_CONVERT} -w 128 -h 128 ${svg} -o ${png} DEPENDS ${svg} VERBATIM)
        list(APPEND pngs "${png}")
    endforeach()
    list(JOIN pngs "," inputs)
    set(output "${CMAKE_CURRENT_BINARY_DIR}/EmbeddedIcons.cpp")
    set(script "${CMAKE_SOURCE_DIR}/cmake/EmbedIcons.cmake")
    add_custom_command(OUTPUT ${output} COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DINPUTS=${inputs} -P ${script}
        DEPENDS ${pngs} ${script} VERBATIM)
    target_sources(${target} PRIVATE ${output})
endfunction()
