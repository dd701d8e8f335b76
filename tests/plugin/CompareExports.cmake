cmake_minimum_required(VERSION 3.25)

# Compares what MODULE shows with the list in EXPECTED, one demangled name a line, and its run path with $ORIGIN.
# Variables: MODULE, EXPECTED, NM, READELF.

execute_process(COMMAND ${NM} -D --defined-only -C ${MODULE} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "(^|\n)[0-9a-f]+ [A-Za-z] " "\\1" symbols "${symbols}")
string(REPLACE "\n" ";" symbols "${symbols}")
list(REMOVE_ITEM symbols "")
file(STRINGS ${EXPECTED} expected)

set(unexpected ${symbols})
list(REMOVE_ITEM unexpected ${expected})
set(missing ${expected})
list(REMOVE_ITEM missing ${symbols})
if(unexpected OR missing)
    list(JOIN unexpected "\n  " unexpected)
    list(JOIN missing "\n  " missing)
    message(FATAL_ERROR "The module shows what it should not:\n  ${unexpected}\nand hides what it should show:\n  ${missing}")
endif()

execute_process(COMMAND ${READELF} -d ${MODULE} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "path: \\[\\$ORIGIN\\]")
    message(FATAL_ERROR "The module's run path is not $ORIGIN:\n${dynamic}")
endif()
if(dynamic MATCHES "SYMBOLIC")
    message(FATAL_ERROR "The module binds its own calls:\n${dynamic}")
endif()
