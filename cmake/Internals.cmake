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
# As in library/CMakeLists.txt; a property of a source counts in its own folder alone.
set_source_files_properties(${http_folder}/net/http/engine/exchange.cpp
    TARGET_DIRECTORY nethttp_internals PROPERTIES COMPILE_OPTIONS -fexceptions)
