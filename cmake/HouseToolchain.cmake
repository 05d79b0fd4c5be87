# Compiler settings of our own code, and the functions that the folders' lists use.

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(house_warnings INTERFACE)
target_compile_options(house_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual -Wsuggest-override
    $<$<BOOL:${WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(house_warnings INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
    QT_DEPRECATED_WARNINGS)

# The program looks for its shapes beside itself, so a build has them there too: each is copied when
# it is newer than its copy.
function(house_ship_shapes target)
    foreach(shape ${ARGN})
        set(copy ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Shapes/${shape})
        add_custom_command(OUTPUT ${copy} DEPENDS ${CMAKE_SOURCE_DIR}/shapes/Shapes/${shape}
            COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/shapes/Shapes/${shape} ${copy})
        list(APPEND copies ${copy})
    endforeach()
    add_custom_target(shipped_shapes DEPENDS ${copies})
    add_dependencies(${target} shipped_shapes)
endfunction()

# house_add_test(NAME sources… LINKS targets… LABELS labels… [GL])
# One Qt Test executable. GL marks a test that needs an OpenGL context: it gets the label "gl" and
# the program's resources. script/test runs everything under a virtual display.
function(house_add_test name)
    cmake_parse_arguments(ARG "GL" "" "LINKS;LABELS" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE house_warnings ${ARG_LINKS} Qt5::Test)
    target_compile_definitions(${name} PRIVATE
        SOURCE_DIR="${CMAKE_SOURCE_DIR}" $<$<BOOL:${REQUIRE_GL}>:REQUIRE_GL>)
    set(labels ${ARG_LABELS})
    if(ARG_GL)
        list(APPEND labels gl)
        target_link_libraries(${name} PRIVATE resources)
    endif()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES LABELS "${labels}" TIMEOUT 600)
    if(ARG_GL OR "widgets" IN_LIST ARG_LINKS)
        # Windows on one display take the focus and the mouse from each other. They end with the
        # process, as memory of the desktop's libraries does: leaks are looked for in other tests.
        set_tests_properties(${name} PROPERTIES
            RESOURCE_LOCK display ENVIRONMENT ASAN_OPTIONS=detect_leaks=0)
    endif()
endfunction()

# house_add_bench(NAME sources… LINKS targets…): one Google Benchmark executable.
function(house_add_bench name)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE house_warnings ${ARG_LINKS} benchmark::benchmark)
    set_target_properties(${name} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
endfunction()
