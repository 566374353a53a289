# Run by CPack when the files of a package lie in its staging directory: adds what only packages have.
set(root ${CPACK_TEMPORARY_DIRECTORY})

file(GLOB pages ${root}/usr/share/man/man*/*)
execute_process(COMMAND gzip -9nf ${pages} COMMAND_ERROR_IS_FATAL ANY)

# Beside the documents, a package's own directory with its licence and its changes.
set(directory ${root}/usr/share/doc/${CPACK_PACKAGE_NAME})
file(MAKE_DIRECTORY ${directory})
configure_file(${CPACK_VN_SOURCE_DIR}/packaging/copyright ${directory}/copyright COPYONLY)
configure_file(${CPACK_VN_CHANGELOG} ${directory}/changelog COPYONLY)
execute_process(COMMAND gzip -9nf ${directory}/changelog COMMAND_ERROR_IS_FATAL ANY)

# Debian's zsh looks for the completion of packages in another place than all others.
file(MAKE_DIRECTORY ${root}/usr/share/zsh/vendor-completions)
file(CREATE_LINK ../site-functions/_vn_client ${root}/usr/share/zsh/vendor-completions/_vn_client SYMBOLIC)

# Neither the builder's umask nor the modes of its working copy are anybody's business.
file(GLOB_RECURSE entries LIST_DIRECTORIES true ${root}/usr/* ${root}/etc/*)
foreach(entry IN LISTS entries ITEMS ${root}/usr ${root}/etc)
    if(IS_DIRECTORY ${entry})
        file(CHMOD ${entry} DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
            GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    elseif(NOT IS_SYMLINK ${entry} AND NOT entry MATCHES "/bin/[^/]*$")
        file(CHMOD ${entry} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
endforeach()
