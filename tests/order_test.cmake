# SPDX-License-Identifier: Apache-2.0
# The order of the rooms is held: the tree as it is passes, and a planted upward include, an include of what stands
# beside the house and a folder that is no room each end the check with a line that names the place.
#
#   cmake -DSOURCE=DIR -DWORK=DIR -P order_test.cmake

function(expect_refusal file text line)
    file(REMOVE_RECURSE "${WORK}")
    file(MAKE_DIRECTORY "${WORK}/core" "${WORK}/ha")
    file(WRITE "${WORK}/core/state.h" "#include \"velmar/ha.h\"\n")
    file(WRITE "${WORK}/${file}" "${text}\n")
    execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${WORK} -P ${SOURCE}/scripts/order.cmake
                    RESULT_VARIABLE rc ERROR_VARIABLE said OUTPUT_QUIET)
    string(FIND "${said}" "${line}" at)
    if(rc EQUAL 0 OR at EQUAL -1)
        message(FATAL_ERROR "not refused: ${file} with ${text}; said: ${said}")
    endif()
endfunction()

expect_refusal(core/planted.h "#include \"ha/vss.h\"" "core/planted.h includes ha/vss.h")
expect_refusal(ha/planted.cpp "#include \"host/run.h\"" "ha/planted.cpp includes host/run.h")
expect_refusal(attic/planted.cpp "" "attic/planted.cpp stands in attic")
file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${SOURCE} -P ${SOURCE}/scripts/order.cmake RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "the tree itself is refused")
endif()
