# Two Debian packages: netinfo, and netinfo-dev for those who write a host of their own.

set(package_release 1)

# install_compressed(FILE DESTINATION NAME COMPONENT): the file as NAME.gz, the same bytes whenever it is packed.
function(install_compressed file destination name component)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/compressed/${destination}/${name}.gz)
    install(CODE "
        file(MAKE_DIRECTORY \"${CMAKE_CURRENT_BINARY_DIR}/compressed/${destination}\")
        execute_process(COMMAND gzip -9nc \"${file}\" OUTPUT_FILE \"${compressed}\" COMMAND_ERROR_IS_FATAL ANY)"
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    install(FILES ${compressed} DESTINATION ${destination} COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

configure_file(debian/changelog.in debian-changelog @ONLY)
install_compressed(${manual} ${CMAKE_INSTALL_MANDIR}/man1 netinfo.1 debian)
install_compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_INSTALL_DATADIR}/doc/netinfo changelog debian)
install(FILES completions/_netinfo DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
    COMPONENT debian EXCLUDE_FROM_ALL)
foreach(package "netinfo;debian" "netinfo-dev;debian-dev")
    list(GET package 0 name)
    list(GET package 1 component)
    set(documents ${CMAKE_INSTALL_DATADIR}/doc/${name})
    install_compressed(${CMAKE_CURRENT_BINARY_DIR}/debian-changelog ${documents} changelog.Debian ${component})
    install(FILES debian/copyright DESTINATION ${documents} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_CONTACT "netinfo developers <netinfo@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "count what each network connection moves")
set(CPACK_SET_DESTDIR ON)  # so that the unit names the place below the prefix, not the one it is packed from
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime debian development debian-dev)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${package_release})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME netinfo)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"netinfo tells what a metered line has used: by hour, day, week, month and
year, by connection and by connection type. It warns before a limit is
reached, shows speeds while it counts, and can be left to the service
manager of the user. It contains the plug-in that counts.")
set(CPACK_DEBIAN_HEADERS_PACKAGE_NAME netinfo-dev)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HEADERS_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_HEADERS_PACKAGE_DEPENDS "netinfo (= ${PROJECT_VERSION}-${package_release})")
set(CPACK_DEBIAN_HEADERS_DESCRIPTION
"A program that manages connections loads the plug-in of netinfo and is told
what they move. These are the headers of the interfaces between them.")

include(CPack)
cpack_add_component_group(program)
cpack_add_component(runtime GROUP program)
cpack_add_component(debian GROUP program)
cpack_add_component_group(headers)
cpack_add_component(development GROUP headers)
cpack_add_component(debian-dev GROUP headers)
