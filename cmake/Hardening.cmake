# What makes a fault harder to exploit, and a build the same wherever it is made. Nothing of it reaches
# whoever uses the libraries.
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

if(NETHTTP_HARDEN AND NOT NETHTTP_SANITIZE)
    target_compile_options(nethttp_options INTERFACE
        -fstack-protector-strong -fstack-clash-protection)
    if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
        target_compile_options(nethttp_options INTERFACE -fcf-protection)
    endif()
    # The checks need the optimiser. Who chooses a level by the flags of all keeps it.
    if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
        target_compile_options(nethttp_options INTERFACE
            $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
    endif()
    target_link_options(nethttp_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
    if(PROJECT_IS_TOP_LEVEL)
        include(CheckPIESupported)
        check_pie_supported(LANGUAGES CXX)
    endif()
endif()

# Debug information and messages name files as they lie in the source tree; a debug build keeps whole
# names, for debuggers and gcov. The path by which programs find libraries before installation would
# leave its length in the installed file.
target_compile_options(nethttp_options INTERFACE
    $<${optimised}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
    $<${optimised}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
