# Sets up the project's libraries: visibility, version, installation of library, headers and pkg-config file.

include(CMakePackageConfigHelpers)

# Installed files find the libraries by a path relative to their own, so that they can be moved.
if(APPLE)
    set(korvinpackage_origin @loader_path)
else()
    set(korvinpackage_origin $ORIGIN)
endif()

# Sets up the library TARGET, whose public headers are the HEADERS in its folder include/. They are
# included as <TARGET/header.h>, or with FLAT as <header.h>. It is exported as
# Korvin::EXPORT_NAME; PREFIX is what the macros of its export header begin with; REQUIRES and
# PACKAGE_REQUIRES are what it is linked to, for CMake and for pkg-config.
function(korvinpackage_library target)
    cmake_parse_arguments(arg "FLAT" "EXPORT_NAME;PREFIX;REQUIRES;PACKAGE_REQUIRES" "HEADERS" ${ARGN})
    add_library(Korvin::${arg_EXPORT_NAME} ALIAS ${target})
    korvinpackage_target_defaults(${target})
    target_sources(${target} PRIVATE ${arg_HEADERS})
    target_compile_features(${target} PUBLIC cxx_std_17)
    target_compile_definitions(${target} PRIVATE ${arg_PREFIX}_LIBRARY)
    target_compile_options(${target} PRIVATE $<$<BOOL:${korvinpackage_has_gnu_flags}>:-Wconversion>)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        target_compile_definitions(${target} PUBLIC ${arg_PREFIX}_STATIC)
        set(pkgconfig_cflags " -D${arg_PREFIX}_STATIC")
    endif()
    set(include_folder ${CMAKE_INSTALL_INCLUDEDIR})
    if(arg_FLAT)
        string(APPEND include_folder /${target})
    endif()
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
        $<INSTALL_INTERFACE:${include_folder}>)
    target_link_libraries(${target} PUBLIC ${arg_REQUIRES})
    # Templates of the standard library and of Qt would be exported as well.
    set(exports ${CMAKE_CURRENT_SOURCE_DIR}/exports.map)
    if(type STREQUAL "SHARED_LIBRARY" AND UNIX AND NOT APPLE)
        target_link_options(${target} PRIVATE -Wl,--version-script=${exports})
        set_target_properties(${target} PROPERTIES LINK_DEPENDS ${exports})
    endif()
    set_target_properties(${target} PROPERTIES
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        POSITION_INDEPENDENT_CODE ON
        INSTALL_RPATH ${korvinpackage_origin}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${arg_EXPORT_NAME})

    install(TARGETS ${target} EXPORT KorvinPackageTargets)
    install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${target})

    file(RELATIVE_PATH pkgconfig_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    set(pkgconfig_name ${target})
    set(pkgconfig_requires ${arg_PACKAGE_REQUIRES})
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${target}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# Installs the CMake package of all libraries.
function(korvinpackage_install_cmake_package)
    set(directory ${CMAKE_INSTALL_LIBDIR}/cmake/KorvinPackage)
    # A shared and a static build may be installed together.
    if(BUILD_SHARED_LIBS)
        set(targets KorvinPackageSharedTargets)
    else()
        set(targets KorvinPackageStaticTargets)
    endif()
    install(EXPORT KorvinPackageTargets NAMESPACE Korvin:: FILE ${targets}.cmake
        DESTINATION ${directory})
    # Files of this name are found by find_package(KorvinPackage) and find_package(korvinpackage).
    set(config korvinpackage-config)
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${config}.cmake.in
        ${config}.cmake INSTALL_DESTINATION ${directory})
    write_basic_package_version_file(${config}-version.cmake COMPATIBILITY SameMajorVersion)
    install(FILES
        ${CMAKE_CURRENT_BINARY_DIR}/${config}.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/${config}-version.cmake
        DESTINATION ${directory})
endfunction()
