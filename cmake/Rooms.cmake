# Rooms: folders with one responsibility and one library each. A room's headers are visible to the rooms that link it
# and to no others, so an include against the direction of the links does not compile.

# add_room(NAME FOLDER SOURCES ... [PUBLIC ...] [PRIVATE ...])
#   Adds a static library for a folder. FOLDER is relative to the current source folder and becomes the only include
#   directory; sources are relative to it. PUBLIC and PRIVATE list what the library links.
function(add_room name folder)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "SOURCES;PUBLIC;PRIVATE")
    list(TRANSFORM arg_SOURCES PREPEND ${folder}/ REGEX "^[^/]")
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${folder})
    target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE corvane_flags ${arg_PRIVATE})
endfunction()

# Writes every target below a folder with its source folders, include directories and links to targets.tsv in the build
# folder; scripts/rooms reads it. Call it after all targets are defined.
function(write_targets)
    set(lines "")
    set(folders ${CMAKE_SOURCE_DIR})
    while(folders)
        list(POP_FRONT folders folder)
        get_property(inner DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
        list(APPEND folders ${inner})
        get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
        foreach(target IN LISTS targets)
            set(fields ${target} ${folder})
            foreach(property TYPE SOURCES INTERFACE_INCLUDE_DIRECTORIES LINK_LIBRARIES INTERFACE_LINK_LIBRARIES)
                get_target_property(value ${target} ${property})
                if(NOT value)
                    set(value "")
                endif()
                # Folders of the installed tree are not rooms.
                string(REGEX REPLACE "\\$<INSTALL_INTERFACE:[^>]*>" "" value "${value}")
                string(REGEX REPLACE "\\$<BUILD_INTERFACE:([^>]*)>" "\\1" value "${value}")
                string(REPLACE ";" " " value "${value}")
                list(APPEND fields "${value}")
            endforeach()
            list(JOIN fields "\t" line)
            string(APPEND lines "${line}\n")
        endforeach()
    endwhile()
    file(WRITE ${CMAKE_BINARY_DIR}/targets.tsv "${lines}")
endfunction()
