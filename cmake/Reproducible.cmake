# What makes a build the same wherever it is made.
# Debug information and messages name files as they lie in the source tree; a debug build keeps whole
# names, for debuggers and gcov. The path by which programs find libraries before installation would
# leave its length in the installed file.
target_compile_options(nethttp_options INTERFACE
    $<${optimised}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
    $<${optimised}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
