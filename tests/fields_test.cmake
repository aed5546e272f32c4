# SPDX-License-Identifier: Apache-2.0
# The list of a record's members holds the record: one that is right compiles, and what follows from it is right; one that
# leaves a member out, twists an offset, an order, a size or a store type is refused with a line that says so.
#
#   cmake -DSOURCE=DIR -DCOMPILER=PROGRAM -DWORK=DIR -P fields_test.cmake

set(structs "struct body_t { be32 ifindex; uint8_t reserved0[3]; uint8_t cos; char name[20]; sbe32 status; };
struct memory_t { uint32_t count; body_t bodies[2]; uint8_t flag; uint8_t small; memory_t *next; };")
set(body "QOS_MEMBERS(body_t, 32, F(0, ifindex), PAD(4, reserved0), LOCAL(7, cos), F(8, name), F(28, status));")
set(memory "QOS_RECORD(memory_t, 76, BACK(count, 2), F(bodies), F(flag), INIT(small, 9), LOCAL(next));")
set(refused "")
set(number 0)

function(compile name)
    file(WRITE "${WORK}/${name}.cpp" "#include \"velmar/fields.h\"\n${ARGN}\n")
    execute_process(COMMAND ${COMPILER} -std=gnu++20 -fsyntax-only -I${SOURCE} ${WORK}/${name}.cpp
                    RESULT_VARIABLE rc ERROR_VARIABLE said)
    set(rc "${rc}" PARENT_SCOPE)
    set(said "${said}" PARENT_SCOPE)
endfunction()

# Adds lists, each on structs of its own, of which the compiler shall say `line`.
macro(refuse line text)
    math(EXPR number "${number} + 1")
    string(REGEX REPLACE "(body|memory|half)_t" "\\1${number}_t" numbered "${structs}\n${text}\n")
    string(REGEX REPLACE "(body|memory|half)_t" "\\1${number}_t" line_${number} "${line}")
    string(APPEND refused "${numbered}")
endmacro()

compile(right "${structs} ${body} ${memory}
constexpr bool is(const ha_field_t &row, const char *name, uint32_t offset, uint32_t size, const char *type)
{
    return __builtin_strcmp(row.name, name) == 0 && row.offset == offset && row.size == size &&
           __builtin_strcmp(row.type, type) == 0;
}
constexpr auto &bodies = qosStoreRows<body_t>;
static_assert(bodies.size() == 3 && is(bodies[0], \"ifindex\", 0, 4, \"~U32\") && is(bodies[1], \"name\", 8, 20, \"~Chr\"));
static_assert(is(bodies[2], \"status\", 28, 4, \"~I32\"));
constexpr auto &rows = qosStoreRows<memory_t>;
static_assert(rows.size() == 4 && is(rows[0], \"bodies\", 4, 64, \"body_t\") && is(rows[1], \"flag\", 68, 1, \"~U08\"));
static_assert(is(rows[2], \"count\", 0, 4, \"~U32\") && is(rows[3], \"small\", 69, 1, \"~U08\"));
QOS_VERSION(body_t, 3);
static_assert(qosVersionOf<body_t> == 3 && qosVersionOf<memory_t> == 1);
constexpr auto &details = qosStoreDetails<memory_t>;
static_assert(qosStoreDetails<body_t>[0].big_endian && !details[2].big_endian && details[3].initial == 9);")
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "right lists do not compile:\n${said}")
endif()

# A member without a row, also one small enough to hide in the padding and one whose place a double takes.
refuse("body_t has a member without" "QOS_MEMBERS(body_t, 32, F(0, ifindex), PAD(4, reserved0), F(7, cos), F(8, name));")
refuse("body_t has a member without" "QOS_MEMBERS(body_t, 32, F(0, ifindex), F(7, cos), F(8, name), F(28, status));")
refuse("memory_t has a member without" "${body} QOS_RECORD(memory_t, 76, F(count), F(bodies), F(flag), F(next));")
refuse("memory_t has a hole" "${body} QOS_RECORD(memory_t, 76, F(count), F(bodies), F(flag), F(flag), F(next));")
refuse("cos stands at another offset"
       "QOS_MEMBERS(body_t, 32, F(0, ifindex), PAD(4, reserved0), F(6, cos), F(8, name), F(28, status));")
refuse("body_t has a hole between two rows, or one out of order"
       "QOS_MEMBERS(body_t, 32, F(0, ifindex), F(7, cos), PAD(4, reserved0), F(8, name), F(28, status));")
refuse("body_t has another size"
       "QOS_MEMBERS(body_t, 31, F(0, ifindex), PAD(4, reserved0), F(7, cos), F(8, name), F(28, status));")
refuse("qosMembersOf<body_t>" "${memory}")
refuse("noStoreType"
       "struct half_t { sbe16 half; }; QOS_MEMBERS(half_t, 2, F(0, half)); constexpr auto halves = qosStoreRows<half_t>;")
refuse("noInitial"
       "struct half_t { char text[4]; }; QOS_MEMBERS(half_t, 4, INIT(0, text, 1)); constexpr auto halves = qosStoreDetails<half_t>;")
compile(refused "${refused}")
foreach(i RANGE 1 ${number})
    if(NOT said MATCHES "${line_${i}}")
        message(SEND_ERROR "not refused with \"${line_${i}}\":\n${said}")
    endif()
endforeach()
