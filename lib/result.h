// SPDX-License-Identifier: Apache-2.0
// What the library's containers and tables answer.
#ifndef LIB_RESULT_H
#define LIB_RESULT_H

enum [[nodiscard]] lib_result_t : int{
    LIB_FAILED = -1, // not found, already there, or no memory, as the function says
    LIB_DONE = 0,
    LIB_EQUAL_FOUND = 1, // of a sorted add without duplicates
    LIB_NO_MEMORY = 2,   // likewise
};

#endif
