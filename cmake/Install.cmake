# What an installation holds, by component:
#
#   runtime        the shared libraries, all that a finished program needs
#   development    the headers, what a linker takes, and what CMake and pkg-config find them by
#   tools          the command line, its manual page and completions
#   certificates   the link to the certificate bundle, in an installation for the whole system
#
# The whole tree may be moved after installation. The build tree can be used in place of one.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/NetHttp)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library finds the platform beside it, the program both from where it is installed.
file(RELATIVE_PATH bin_to_lib
    ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(nethttp_http nethttp_platform PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS nethttp_http nethttp_platform EXPORT NetHttpTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(TARGET nethttp_cli)
    set_target_properties(nethttp_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
    install(TARGETS nethttp_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        COMPONENT tools)
    set(manual ${PROJECT_SOURCE_DIR}/apps/nethttp/manual)
    install(FILES ${manual}/nethttp.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    install(FILES ${PROJECT_SOURCE_DIR}/apps/nethttp/third_party.txt COMPONENT tools
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/nethttp)
    install(FILES ${manual}/nethttp.bash RENAME nethttp COMPONENT tools
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
    set(NETHTTP_ZSH_FOLDER site-functions CACHE STRING
        "The folder below share/zsh in which zsh looks for completions")
    install(FILES ${manual}/_nethttp COMPONENT tools
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/${NETHTTP_ZSH_FOLDER})
endif()

file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/public_headers.txt public_headers)
foreach(header IN LISTS public_headers)
    set(base ${PROJECT_SOURCE_DIR})
    if(header MATCHES "^net/")
        set(base ${PROJECT_SOURCE_DIR}/library)
    endif()
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${base}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder}
        COMPONENT development)
endforeach()

# A static library passes on what it needs itself.
get_target_property(library_links nethttp_http LINK_LIBRARIES)
set(NETHTTP_PRIVATE_PACKAGES "")
set(NETHTTP_PRIVATE_MODULES "")
if(NOT BUILD_SHARED_LIBS)
    set(NETHTTP_PRIVATE_PACKAGES "find_dependency(Threads)\n")
    if(library_links MATCHES "OpenSSL")
        string(APPEND NETHTTP_PRIVATE_PACKAGES "find_dependency(OpenSSL)\n")
        set(NETHTTP_PRIVATE_MODULES "openssl")
    endif()
endif()

install(EXPORT NetHttpTargets NAMESPACE NetHttp:: DESTINATION ${package_dir}
    COMPONENT development)
export(EXPORT NetHttpTargets NAMESPACE NetHttp::
    FILE ${PROJECT_BINARY_DIR}/NetHttpTargets.cmake)
configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/NetHttpConfig.cmake.in ${PROJECT_BINARY_DIR}/NetHttpConfig.cmake
    INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NetHttpConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/NetHttpConfig.cmake ${PROJECT_BINARY_DIR}/NetHttpConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)

# pkg-config finds the prefix from the place of its file.
file(RELATIVE_PATH NETHTTP_PC_TO_PREFIX /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" NETHTTP_PC_TO_PREFIX ${NETHTTP_PC_TO_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/nethttp.pc.in ${PROJECT_BINARY_DIR}/nethttp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/nethttp.pc DESTINATION ${pkgconfig_dir}
    COMPONENT development)

# The environment's certificate bundle is the distribution's, unless there is one. Only an installation
# for the whole system touches the host's root; DESTDIR holds for it as for everything else.
set(NETHTTP_SYSTEM_BUNDLE /etc/ssl/certs/ca-certificates.crt CACHE FILEPATH
    "What an installation under /usr links as the environment's certificate bundle")
configure_file(
    ${PROJECT_SOURCE_DIR}/cmake/LinkBundle.cmake.in ${PROJECT_BINARY_DIR}/LinkBundle.cmake @ONLY)
install(SCRIPT ${PROJECT_BINARY_DIR}/LinkBundle.cmake COMPONENT certificates)
