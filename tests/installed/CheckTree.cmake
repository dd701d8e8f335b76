# Installs below DESTDIR as a packager does, compares what lies there with the list beside this file, and runs the
# program from that place.
file(REMOVE_RECURSE ${WORK})
set(ENV{DESTDIR} ${WORK}/root)
execute_process(
    COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix /opt/netinfo
    OUTPUT_QUIET
    COMMAND_ERROR_IS_FATAL ANY)
set(ENV{DESTDIR})

file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/InstalledFiles.txt expected)
string(REPLACE "LIBDIR/" "${LIBRARIES}/" expected "${expected}")
list(SORT expected)
file(GLOB_RECURSE found RELATIVE ${WORK}/root/opt/netinfo LIST_DIRECTORIES false ${WORK}/root/*)
list(SORT found)
if(NOT found STREQUAL expected)
    list(JOIN found "\n" found)
    list(JOIN expected "\n" expected)
    message(FATAL_ERROR "Installed are\n${found}\n\nand InstalledFiles.txt has\n${expected}")
endif()

set(prefix ${WORK}/root/opt/netinfo)
set(ENV{HOME} ${WORK}/home)
foreach(variable NETINFO_DATA_DIR NETINFO_CONFIG_DIR NETINFO_MODULE_DIR XDG_DATA_HOME XDG_CONFIG_HOME XDG_STATE_HOME)
    unset(ENV{${variable}})
endforeach()
execute_process(COMMAND ${prefix}/bin/netinfo report OUTPUT_VARIABLE report COMMAND_ERROR_IS_FATAL ANY)
if(NOT report MATCHES "Dial-up  today .*WiFi     today .*ADSL     today ")
    message(FATAL_ERROR "netinfo report says\n${report}")
endif()
execute_process(COMMAND ${prefix}/bin/netinfo reset wifi --yes OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
if(NOT EXISTS ${WORK}/home/.local/share/netinfo/NetInfo.dat)
    message(FATAL_ERROR "The data is not in the home directory")
endif()

file(READ ${prefix}/lib/systemd/user/netinfo.service unit)
if(NOT unit MATCHES "\nExecStart=/opt/netinfo/bin/netinfo run --quiet\n")
    message(FATAL_ERROR "The unit starts something else:\n${unit}")
endif()
