# What makes a fault harder to exploit. Nothing of it reaches whoever uses the libraries.
include(CheckCXXCompilerFlag)

if(NETHTTP_HARDEN AND NOT NETHTTP_SANITIZE)
    foreach(guard stack-protector-strong stack-clash-protection cf-protection)
        check_cxx_compiler_flag(-f${guard} NETHTTP_HAVE_${guard})  # not for every processor
        if(NETHTTP_HAVE_${guard})
            target_compile_options(nethttp_options INTERFACE -f${guard})
        endif()
    endforeach()
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
