# The library's own units, which the shared library hides: for unit tests, micro-benchmarks and fuzz
# targets. Include their headers as they do themselves; a program links either this or the library's
# own target.
find_package(OpenSSL 3.0 REQUIRED)
if(TARGET nethttp_internals)
    return()
endif()

get_target_property(http_sources nethttp_http SOURCES)
get_target_property(http_folder nethttp_http SOURCE_DIR)
list(TRANSFORM http_sources PREPEND ${http_folder}/)
add_library(nethttp_internals STATIC ${http_sources})
target_link_libraries(nethttp_internals PUBLIC
    NetHttp::platform nethttp_options OpenSSL::SSL OpenSSL::Crypto)
target_compile_options(nethttp_internals PRIVATE -fno-exceptions)
