# Debian packages by CPack, one for each component: the libraries, what compiles against them, the
# program. What they depend on, dpkg-shlibdeps reads from the built files.
#
#   cmake --workflow --preset package
if(NOT NETHTTP_INSTALL OR NOT NETHTTP_BUILD_TOOLS OR NOT BUILD_SHARED_LIBS)
    message(FATAL_ERROR "Debian packages hold the shared libraries and the command line as installed")
endif()
set(library_package libnethttp${PROJECT_VERSION_MAJOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The nethttp developers <nethttp@localhost>")
set(CPACK_PACKAGE_VENDOR "The nethttp developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/modes.cmake)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(exactly "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

# The program's libraries are in no installed package yet, so their dependency stands here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${PROJECT_BINARY_DIR}/library ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# debian_package(COMPONENT NAME SECTION SUMMARY TEXT)
function(debian_package component name section summary text)
    string(TOUPPER ${component} upper)
    set(prefix CPACK_DEBIAN_${upper})
    set(${prefix}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(${prefix}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(${prefix}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    install(FILES ${PROJECT_SOURCE_DIR}/LICENSE RENAME copyright
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
endfunction()

debian_package(runtime ${library_package} libs
    "HTTP and HTTPS client library"
    "One connection for each request, redirects, TLS by OpenSSL.\nThe libraries that programs need.")
debian_package(development libnethttp-dev libdevel
    "HTTP and HTTPS client library, for development"
    "Headers, and the files by which CMake and pkg-config find the library.")
debian_package(tools nethttp net
    "HTTP and HTTPS requests from the command line"
    "A program for requests, uploads and downloads, with a report for scripts.")

# The scripts see to the link that cmake/LinkBundle.cmake.in makes in other installations.
foreach(script postinst postrm)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/${script}.in
        ${PROJECT_BINARY_DIR}/debian/${script} @ONLY
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
            WORLD_READ WORLD_EXECUTE)
endforeach()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/debian/postinst ${PROJECT_BINARY_DIR}/debian/postrm
    ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${exactly}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library_package} ${exactly}")
include(CPack)
