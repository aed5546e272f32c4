# SPDX-License-Identifier: Apache-2.0
# Writes files as arrays of a header: cmake -DTO=HEADER -DFROM=DIRECTORY "-DFILES=NAME:file;..." -P scripts/embed.cmake
set(text "// Made from ${FROM} by scripts/embed.cmake.\n")
foreach(pair IN LISTS FILES)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 name)
    list(GET pair 1 file)
    file(READ ${FROM}/${file} bytes HEX)
    string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND text "constexpr char ${name}[] = {${bytes}};\n")
endforeach()
file(WRITE ${TO} "${text}")
