# tw_add_library(<name> <folder> <sources>...)
#
# One static library per subsystem folder of src/. Each library exports an include
# root of its own that holds only its folder (a link <build>/include/<name>/<folder>
# to src/<folder>), so that "platform/Bundle.h" can be included only by code that
# links tw_platform: an include that points up the layers does not compile.
function(tw_add_library name folder)
    add_library(${name} STATIC ${ARGN})
    set(root "${CMAKE_BINARY_DIR}/include/${name}")
    file(MAKE_DIRECTORY "${root}")
    if(NOT EXISTS "${root}/${folder}")
        file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${root}/${folder}" SYMBOLIC)
    endif()
    target_include_directories(${name} PUBLIC "${root}")
endfunction()
