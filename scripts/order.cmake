# SPDX-License-Identifier: Apache-2.0
# Holds the rooms of the house to their order: a file may include headers of its own room and of the rooms ahead of it
# in the list, and what stands beside the house only what it is given.
#
#   dorvald_check_order(ROOT)       ends the configuration with one line for each include that runs against the order
#
# CMakeLists.txt calls it when it configures, and the target "order" with every build:
#   cmake -DROOT=DIR -P scripts/order.cmake

cmake_minimum_required(VERSION 3.25)

# The rooms, one folder and one target each, in their order.
set(DORVALD_ROOMS velmar agent/messages platform/records core lib channels inventory channels/events agent/model
    platform/common platform/larkin platform/tessel platform/mirelle platform agent ha dorvald)

# Folders beside the house, and the rooms that each may use.
set(DORVALD_BESIDE host hsl tools role)
set(DORVALD_BESIDE_host velmar)
set(DORVALD_BESIDE_hsl velmar agent/messages platform/records)
set(DORVALD_BESIDE_tools velmar agent/messages platform/records hsl) # of hsl the table of commands
set(DORVALD_BESIDE_role ${DORVALD_ROOMS} tools)

# Appends a line to the list `faults` for each include of `file`, in folder `room`, that is not of a folder in `allowed`.
function(dorvald_check_file root file room allowed)
    file(STRINGS "${root}/${file}" lines REGEX "^#include \"")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^#include \"([^\"]*)\".*" "\\1" header "${line}")
        get_filename_component(folder "${header}" DIRECTORY)
        if(NOT folder IN_LIST allowed)
            list(APPEND faults "${file} includes ${header}: ${room} may not use ${folder}")
        endif()
    endforeach()
    set(faults "${faults}" PARENT_SCOPE)
endfunction()

function(dorvald_check_order root)
    set(faults "")
    set(allowed "")
    set(known ${DORVALD_ROOMS} ${DORVALD_BESIDE})
    file(GLOB_RECURSE files RELATIVE "${root}" "${root}/*.h" "${root}/*.cpp")
    list(FILTER files EXCLUDE REGEX "^(build|tests|bench|\\.)")
    foreach(room IN LISTS DORVALD_ROOMS DORVALD_BESIDE)
        if(room IN_LIST DORVALD_BESIDE)
            set(allowed ${DORVALD_BESIDE_${room}})
        endif()
        list(APPEND allowed ${room})
        foreach(file IN LISTS files)
            get_filename_component(folder "${file}" DIRECTORY)
            if(folder STREQUAL room)
                dorvald_check_file("${root}" "${file}" "${room}" "${allowed}")
            endif()
        endforeach()
    endforeach()
    foreach(file IN LISTS files)
        get_filename_component(folder "${file}" DIRECTORY)
        if(NOT folder IN_LIST known)
            list(APPEND faults "${file} stands in ${folder}, which is no room in scripts/order.cmake")
        endif()
    endforeach()
    if(faults)
        list(JOIN faults "\n  " text)
        message(FATAL_ERROR "The order of the rooms is broken:\n  ${text}")
    endif()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE)
    dorvald_check_order("${ROOT}")
endif()
