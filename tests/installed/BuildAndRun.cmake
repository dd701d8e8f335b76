# Installs BUILD below WORK, compiles SOURCE against the installed tree and runs it on a data directory of
# its own.

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${result}:\n${output}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/data ${WORK}/config ${WORK}/state)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)

set(libraries ${WORK}/prefix/${LIBRARIES})
run(${COMPILER} ${FLAGS} -I ${WORK}/prefix/${INCLUDE} ${SOURCE} -o ${WORK}/client
    -L ${libraries} -lnetinfo_parameter -ldl)

set(ENV{NETINFO_DATA_DIR} ${WORK}/data)
set(ENV{NETINFO_CONFIG_DIR} ${WORK}/config)
set(ENV{XDG_STATE_HOME} ${WORK}/state)
run(${WORK}/client ${libraries}/NetInfoSrvPlugin.so ${WORK}/data/NetInfo.dat)
