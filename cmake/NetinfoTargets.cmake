# What every target of ours is built with. It is linked PRIVATE, so that it never reaches a host's build.

set(NETINFO_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

find_package(Threads REQUIRED)

# For what is preloaded into programs that no sanitizer has built; everything else takes netinfo_flags.
add_library(netinfo_warnings INTERFACE)
target_include_directories(netinfo_warnings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(netinfo_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<CONFIG:Debug>:-D_GLIBCXX_ASSERTIONS>)

add_library(netinfo_flags INTERFACE)
target_link_libraries(netinfo_flags INTERFACE netinfo_warnings)
if(NETINFO_SANITIZE)
    target_compile_options(netinfo_flags INTERFACE
        -fsanitize=${NETINFO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(netinfo_flags INTERFACE -fsanitize=${NETINFO_SANITIZE})
endif()

if(NETINFO_FUZZ)
    # Every edge that is taken for the first time tells the fuzzing engine which inputs to go on from.
    target_compile_options(netinfo_flags INTERFACE -fsanitize=fuzzer-no-link -fno-sanitize-coverage=trace-cmp)
endif()

# netinfo_add_room(NAME SOURCES... LINKS targets...): one folder, one static library.
function(netinfo_add_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
    add_library(${name} STATIC ${ROOM_SOURCES})
    target_link_libraries(${name} PUBLIC ${ROOM_LINKS} PRIVATE netinfo_flags)
endfunction()

# netinfo_add_test(NAME targets... [LABELS labels...]): builds NAME.cpp against the targets; each TEST runs in a
# process of its own, because the plug-in keeps state for the whole process, and in a zone that is not UTC.
function(netinfo_add_test name)
    cmake_parse_arguments(TEST "" "" "LABELS" ${ARGN})
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE ${TEST_UNPARSED_ARGUMENTS} netinfo_test_support GTest::gmock_main netinfo_flags)
    # The fakes in the program must come before the platform libraries for the loaded module, too.
    set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
    gtest_discover_tests(${name}
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120 ENVIRONMENT "TZ=CET-1CEST,M3.5.0,M10.5.0/3" LABELS "${TEST_LABELS}")
endfunction()
