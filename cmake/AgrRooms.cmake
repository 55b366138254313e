# Each room's headers are reached as "room/file.h" through a folder that holds that room alone
# (<build>/rooms/<room>/<room>, a link to src/<room>), so that a target sees its own room and the rooms it
# links, and no others: an include that runs back up the tree does not compile. docs/layering.txt is the
# finer table of which room may use which; tst_layering reads every source file against it.
function(agr_room_headers target scope)
    foreach(room ${ARGN})
        set(root ${CMAKE_BINARY_DIR}/rooms/${room})
        if(NOT EXISTS ${root}/${room})
            file(MAKE_DIRECTORY ${root})
            file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${room} ${root}/${room} SYMBOLIC)
        endif()
        target_include_directories(${target} ${scope} ${root})
    endforeach()
endfunction()
