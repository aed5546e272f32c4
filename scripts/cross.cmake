# SPDX-License-Identifier: Apache-2.0
# Libraries for a machine that is not this one. Those that are headers alone are this machine's, linked to from a folder of
# their own: beside them stand the headers of its C library. GoogleTest is built from Debian's sources.
function(dorvald_header_library target folder)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/headers)
    file(CREATE_LINK /usr/include/${folder} ${CMAKE_BINARY_DIR}/headers/${folder} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers)
endfunction()

dorvald_header_library(CLI11::CLI11 CLI)
dorvald_header_library(nlohmann_json::nlohmann_json nlohmann)
set(HTTPLIB_FOUND FALSE)
if(DORVALD_TESTS)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endif()
