# Installs the programs, the plug-in, and the development kit that find_package(corvane) and
# `pkg-config corvane` find. docs/integrating.md shows how a host uses it.
include(CMakePackageConfigHelpers)

install(TARGETS corvane_executable RUNTIME)
if(NOT CORVANE_DEVICE_ONLY)
    install(TARGETS corvaned RUNTIME)
endif()
if(TARGET corvane_contract)
    install(TARGETS corvane_contract RUNTIME COMPONENT development)
endif()
install(TARGETS corvane EXPORT corvane LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/corvane)

# --- manual pages and completions -------------------------------------------------------------------------------------

# The programs write their own pages, so they must be able to run on this machine.
if(NOT CMAKE_CROSSCOMPILING)
    # add_descriptions(TARGET NAME SECTION PAGE...): installs the descriptions of a program and pages of docs/man.
    function(add_descriptions target name section)
        set(pages ${ARGN})
        list(TRANSFORM pages REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/docs/man/\\1.in")
        set(folder ${PROJECT_BINARY_DIR}/descriptions/${name})
        add_custom_command(OUTPUT ${folder}.stamp
            COMMAND ${CMAKE_COMMAND} -D PROGRAM=$<TARGET_FILE:${target}> -D NAME=${name} -D SECTION=${section}
                -D VERSION=${PROJECT_VERSION} -D DATE=${CORVANE_DATE} -D FOLDER=${folder} "-DPAGES=${pages}" -P ${PROJECT_SOURCE_DIR}/cmake/Describe.cmake
            COMMAND ${CMAKE_COMMAND} -E touch ${folder}.stamp
            DEPENDS ${target} ${pages} ${PROJECT_SOURCE_DIR}/cmake/Describe.cmake
            VERBATIM)
        add_custom_target(${name}_descriptions ALL DEPENDS ${folder}.stamp)
        install(DIRECTORY ${folder}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR})
        install(DIRECTORY ${folder}/share/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR})
    endfunction()
    if(CORVANE_DEVICE_ONLY)
        add_descriptions(corvane_executable corvane 1 corvane.toml.5)
    else()
        add_descriptions(corvane_executable corvane 1 corvane.toml.5 corvane-protocol.7 corvane-contract.1)
        add_descriptions(corvaned corvaned 8 corvaned.toml.5)
    endif()
endif()

# --- the service under systemd -----------------------------------------------------------------------------------------

if(NOT CORVANE_DEVICE_ONLY)
    set(CORVANE_SYSTEMD_DIR lib/systemd CACHE STRING "folder whose system/ has the units")
    set(units ${PROJECT_SOURCE_DIR}/service/systemd)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${units}/hardening.conf)
    file(READ ${units}/hardening.conf CORVANED_HARDENING)
    foreach(unit IN ITEMS corvaned.service corvaned.socket corvaned-import.service corvaned-import.timer)
        configure_file(${units}/${unit}.in systemd/${unit} @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/systemd/${unit} DESTINATION ${CORVANE_SYSTEMD_DIR}/system)
    endforeach()
    install(FILES ${units}/corvaned.sysusers DESTINATION lib/sysusers.d RENAME corvaned.conf)
    # An example to copy: an installation never replaces an operator's settings.
    install(FILES ${units}/corvaned.toml DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

# --- the kit ---------------------------------------------------------------------------------------------------------

# The reference host in two archives, so that a host with its own executor can omit the reference executor.
set(without_executor corvane_host_values corvane_host_log corvane_host_settings)
list(TRANSFORM without_executor REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>")
add_library(corvane_host_base_archive STATIC
    ${without_executor} $<FILTER:$<TARGET_OBJECTS:corvane_host_plugin>,INCLUDE,PluginLibrary>)
add_library(corvane_host_archive STATIC
    $<TARGET_OBJECTS:corvane_host_executor> $<FILTER:$<TARGET_OBJECTS:corvane_host_plugin>,EXCLUDE,PluginLibrary>)
set_target_properties(corvane_host_base_archive PROPERTIES OUTPUT_NAME corvane_host_base EXPORT_NAME host_base_archive)
set_target_properties(corvane_host_archive PROPERTIES OUTPUT_NAME corvane_host EXPORT_NAME host_archive)

# A plug-in finds the framework's symbols in the program that loads it, so whole archives are linked and their symbols
# exported, even those that the program does not use.
add_library(corvane_host_base INTERFACE)
target_link_libraries(corvane_host_base INTERFACE
    corvane_interface $<LINK_LIBRARY:WHOLE_ARCHIVE,$<TARGET_NAME:corvane_host_base_archive>>
    fmt::fmt tomlplusplus::tomlplusplus Threads::Threads ${CMAKE_DL_LIBS})
target_link_options(corvane_host_base INTERFACE LINKER:--export-dynamic)
add_library(corvane_host INTERFACE)
target_link_libraries(corvane_host INTERFACE
    $<LINK_LIBRARY:WHOLE_ARCHIVE,$<TARGET_NAME:corvane_host_archive>> corvane_host_base CURL::libcurl)
foreach(room IN ITEMS log settings plugin)
    target_include_directories(corvane_host_base INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/host/${room}>)
endforeach()
target_include_directories(corvane_host_base INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/corvane/host>)
target_include_directories(corvane_host INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/host/executor>)

# Operations as futures and coroutines.
add_library(corvane_client INTERFACE)
target_include_directories(corvane_client INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/client> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(corvane_client INTERFACE corvane_interface Threads::Threads)
target_compile_features(corvane_client INTERFACE cxx_std_17)

foreach(name IN ITEMS host host_base client framework interface)
    set_target_properties(corvane_${name} PROPERTIES EXPORT_NAME ${name})
    if(NOT TARGET corvane::${name})
        add_library(corvane::${name} ALIAS corvane_${name})
    endif()
endforeach()
set_target_properties(corvane PROPERTIES EXPORT_NAME plugin)

install(TARGETS
        corvane_framework corvane_interface corvane_client
        corvane_host corvane_host_base corvane_host_archive corvane_host_base_archive
    EXPORT corvane COMPONENT development)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/corvane)
set(plugin_sources ContentsManager/WLib/Plugins/Corvane/src)
install(DIRECTORY framework/ DESTINATION ${headers}/framework COMPONENT development FILES_MATCHING PATTERN "*.h")
install(FILES ${plugin_sources}/WCorvaneOAI.h ${plugin_sources}/WContainer.h
    DESTINATION ${headers}/interface COMPONENT development)
foreach(room IN ITEMS log executor settings plugin)
    install(DIRECTORY host/${room}/ DESTINATION ${headers}/host COMPONENT development FILES_MATCHING PATTERN "*.h")
endforeach()
install(DIRECTORY client/corvane/ DESTINATION ${headers} COMPONENT development FILES_MATCHING PATTERN "*.h")

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/corvane)
install(EXPORT corvane NAMESPACE corvane:: DESTINATION ${package} FILE corvane-targets.cmake COMPONENT development)
configure_package_config_file(cmake/corvane-config.cmake.in ${PROJECT_BINARY_DIR}/corvane-config.cmake
    INSTALL_DESTINATION ${package} PATH_VARS CMAKE_INSTALL_LIBDIR)
# The kit follows semantic versioning.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/corvane-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/corvane-config.cmake ${PROJECT_BINARY_DIR}/corvane-config-version.cmake
    DESTINATION ${package} COMPONENT development)

# Relative to the folder of the file, unless a folder was given as an absolute path, so that an installation can be moved.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
    file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_prefix}")
endif()
foreach(folder IN ITEMS LIBDIR INCLUDEDIR)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_${folder} BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE pc_${folder})
endforeach()
configure_file(cmake/corvane.pc.in corvane.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/corvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# --- uninstall -------------------------------------------------------------------------------------------------------

if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall
        COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
            -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
        COMMENT "Removing what the last installation from this folder installed"
        VERBATIM)
endif()
