# Folders that everybody may enter, whatever the mode mask of whoever makes the packages: CPack's own
# variable for this does not reach them.
file(GLOB_RECURSE paths LIST_DIRECTORIES true ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(path IN LISTS paths)
    if(IS_DIRECTORY ${path} AND NOT IS_SYMLINK ${path})
        file(CHMOD ${path} DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
            GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
endforeach()
