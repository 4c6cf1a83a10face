# Checks each translation catalogue against the library's sources: lupdate
# run over the sources into a copy must change nothing (every text the
# library marks for translation is in the catalogue, none is left over), and
# every message has a finished, non-empty translation.
#
#   cmake -DLUPDATE=<lupdate> -DWORK_DIR=<dir> "-DSOURCE_DIRS=<dir;dir>"
#         "-DTS_FILES=<file.ts;...>" -P translations_complete.cmake

cmake_minimum_required(VERSION 3.16)

if(NOT LUPDATE OR NOT WORK_DIR OR NOT SOURCE_DIRS OR NOT TS_FILES)
    message(FATAL_ERROR "usage: cmake -DLUPDATE=... -DWORK_DIR=... -DSOURCE_DIRS=... -DTS_FILES=... -P ${CMAKE_CURRENT_LIST_FILE}")
endif()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(problems)
foreach(ts IN LISTS TS_FILES)
    get_filename_component(name ${ts} NAME)
    set(copy ${WORK_DIR}/${name})
    configure_file(${ts} ${copy} COPYONLY)
    execute_process(COMMAND ${LUPDATE} -silent -locations none -no-obsolete -extensions cpp,h ${SOURCE_DIRS} -ts ${copy}
        RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "lupdate failed on ${name} (${rc}):\n${out}\n${err}")
    endif()
    file(READ ${ts} before)
    file(READ ${copy} after)
    if(NOT before STREQUAL after)
        list(APPEND problems "${name} is out of date with the sources: build the target \
configdialogs_update_translations, translate what is new and commit it")
    endif()

    # Entities such as "&lt;" hold semicolons, which would split the matches.
    string(REPLACE ";" "," after "${after}")
    string(REGEX MATCHALL "<message>" messages "${after}")
    list(LENGTH messages message_count)
    string(REGEX MATCHALL "<translation>[^<]+</translation>" finished "${after}")
    list(LENGTH finished finished_count)
    if(message_count EQUAL 0 OR NOT finished_count EQUAL message_count)
        list(APPEND problems "${name}: ${finished_count} of ${message_count} messages translated")
    endif()
    message(STATUS "${name}: ${finished_count} of ${message_count} messages translated")
endforeach()

if(problems)
    string(REPLACE ";" "\n  " listing "${problems}")
    message(FATAL_ERROR "translation catalogues:\n  ${listing}")
endif()
