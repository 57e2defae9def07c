# Flags and definitions for the project's own targets; users of the libraries do not get them.

option(KORVINPACKAGE_WERROR "Treat the warnings of the project's own targets as errors" OFF)

set(korvinpackage_has_gnu_flags OFF)
if(NOT MSVC AND CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
    set(korvinpackage_has_gnu_flags ON)
endif()

function(korvinpackage_target_defaults target)
    target_compile_features(${target} PRIVATE cxx_std_17)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII
        QT_NO_CAST_TO_ASCII
        QT_NO_FOREACH
        QT_NO_KEYWORDS
        QT_NO_URL_CAST_FROM_STRING)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${KORVINPACKAGE_WERROR}>:/WX>)
    elseif(korvinpackage_has_gnu_flags)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wsign-conversion -Wshadow -Wold-style-cast
            -Woverloaded-virtual -Wnon-virtual-dtor -Wcast-align
            # Sizes are ints in the protocol and in Qt 5. With Qt 6, only the libraries must convert
            # explicitly. g++ takes destructors of Qt 6 for null dereferences.
            "$<$<EQUAL:${KORVINPACKAGE_QT_MAJOR},5>:-Wconversion;-Wnull-dereference>"
            $<$<BOOL:${KORVINPACKAGE_WERROR}>:-Werror>)
    endif()
endfunction()
