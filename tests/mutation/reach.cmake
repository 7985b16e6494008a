# Read after project() of the copy that tests/mutants builds: each branch of what may be mutated tells reach.c when
# somebody has come to it. The tests themselves tell nothing.
set(ORVANTA_REACH_TARGETS VXMesh vx-read-mesh VXViewer VXOrvanta orvanta_app orvanta_services orvanta_worker
    CACHE STRING "What tells where it was")

function(orvanta_tell_reach)
    foreach(target ${ORVANTA_REACH_TARGETS})
        target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fsanitize-coverage=trace-pc>)
        target_link_libraries(${target} PUBLIC ${ORVANTA_REACH_LIBRARY})
    endforeach()
endfunction()
cmake_language(DEFER CALL orvanta_tell_reach)
