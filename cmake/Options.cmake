# What every target of this project is compiled with.
add_library(nethttp_options INTERFACE)
target_compile_options(nethttp_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wdate-time $<$<BOOL:${NETHTTP_WERROR}>:-Werror>)
target_include_directories(nethttp_options INTERFACE
    ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/library)
if(NETHTTP_SANITIZE)
    target_compile_options(nethttp_options INTERFACE
        -fsanitize=${NETHTTP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(nethttp_options INTERFACE -fsanitize=${NETHTTP_SANITIZE})
endif()
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
include(${CMAKE_CURRENT_LIST_DIR}/Hardening.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/Reproducible.cmake)

# What the two libraries are built with besides.
function(nethttp_library target)
    # Their properties, and no link to them: a static library would pass that on to whoever uses it
    # from the build tree, where nobody else knows such a target.
    target_compile_options(${target} PRIVATE
        $<TARGET_PROPERTY:nethttp_options,INTERFACE_COMPILE_OPTIONS> -fno-exceptions)
    target_link_options(${target} PRIVATE
        $<TARGET_PROPERTY:nethttp_options,INTERFACE_LINK_OPTIONS>)
    # No symbol tells a shared library's sources from a static one's: nobody asks for it, and without
    # it a compiler's cache serves both.
    set_target_properties(${target} PROPERTIES
        DEFINE_SYMBOL ""
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/library>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    if(BUILD_SHARED_LIBS)
        target_link_options(${target} PRIVATE
            -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
        set_property(TARGET ${target} APPEND PROPERTY
            LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    endif()
endfunction()
