# Adds test programs, and tests that generated files are up to date.

# Adds the GoogleTest program NAME and its tests. SOURCES are its own; main() and what tests share come with
# korvinpackage_test_support. LIBRARIES are linked, PRIVATE_HEADERS_OF are libraries whose private headers
# the tests include, DEFINITIONS are macros, PROPERTIES those of the tests.
function(korvinpackage_add_tests name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;PRIVATE_HEADERS_OF;DEFINITIONS;PROPERTIES" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    korvinpackage_target_defaults(${name})
    target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
    list(TRANSFORM arg_PRIVATE_HEADERS_OF PREPEND ${PROJECT_SOURCE_DIR}/)
    target_include_directories(${name} PRIVATE ${arg_PRIVATE_HEADERS_OF})
    target_precompile_headers(${name} REUSE_FROM korvinpackage_test_support)
    target_link_libraries(${name} PRIVATE korvinpackage_test_support ${arg_LIBRARIES})
    # An emulator takes its time, and so does a busy machine.
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 300 PROPERTIES ENVIRONMENT LC_ALL=C.UTF-8 ${arg_PROPERTIES})
endfunction()

# Adds the test NAME, which fails where the checked-in FILE is not what the program GENERATOR prints. The
# target "regenerate" writes the file anew.
function(korvinpackage_add_generated_file name generator file)
    add_test(NAME ${name}
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${generator}> -DFILE=${file}
            -DOUTPUT=${CMAKE_CURRENT_BINARY_DIR}/${name}
            -P ${PROJECT_SOURCE_DIR}/tests/support/compareoutput.cmake)
    add_custom_target(regenerate_${generator} COMMAND ${generator} > ${file} VERBATIM)
    add_dependencies(regenerate regenerate_${generator})
endfunction()
