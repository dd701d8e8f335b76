# Has systemd read the unit of a user's service manager, with the built program in the installed one's place.
if(NOT ANALYZE)
    message("skipped: there is no systemd-analyze")
    return()
endif()
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/runtime)
file(CHMOD ${WORK}/runtime PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
set(NETINFO_BINDIR ${WORK})
configure_file(${UNIT} ${WORK}/netinfo.service @ONLY)
file(CREATE_LINK ${PROGRAM} ${WORK}/netinfo SYMBOLIC)
set(ENV{XDG_RUNTIME_DIR} ${WORK}/runtime)

execute_process(
    COMMAND ${ANALYZE} verify --user --man=no ${WORK}/netinfo.service
    OUTPUT_VARIABLE said ERROR_VARIABLE said RESULT_VARIABLE code)
if(NOT code EQUAL 0 OR NOT said STREQUAL "")
    message(FATAL_ERROR "systemd-analyze verify: ${code}\n${said}")
endif()
