# The whole build under sanitizers, for example -DKORVINPACKAGE_SANITIZE=address,undefined.

set(KORVINPACKAGE_SANITIZE "" CACHE STRING "Comma-separated sanitizers to build with")

if(KORVINPACKAGE_SANITIZE)
    add_compile_options(-fsanitize=${KORVINPACKAGE_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KORVINPACKAGE_SANITIZE})
endif()
