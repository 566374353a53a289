# What "cmake --install" puts below the prefix: programs, manual pages, completion, documents, samples, and
# the two files that other services read. No library and no header: nothing else builds on them.
include(GNUInstallDirs)

set(VN_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/vn_client)

# The programs are those that CMakeLists.txt itself makes, each with its page.
get_property(targets DIRECTORY PROPERTY BUILDSYSTEM_TARGETS)
foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
        install(FILES docs/man/${target}.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
    endif()
endforeach()
file(GLOB pages CONFIGURE_DEPENDS docs/man/*.5)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)

install(FILES share/vn_client.bash RENAME vn_client
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions)
install(FILES share/vn_client.zsh RENAME _vn_client
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions)

install(FILES README.md CHANGELOG.md DESTINATION ${VN_DOC_DIR})
file(GLOB documents CONFIGURE_DEPENDS docs/*.md)
install(FILES ${documents} DESTINATION ${VN_DOC_DIR}/docs)
install(DIRECTORY samples/ DESTINATION ${VN_DOC_DIR}/examples)

# What only Linux has the services for. The configuration of a program below /usr is in /etc, that of one below another
# prefix inside of it; the prefix is only known here when nobody names another on the command line of the installation.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    install(FILES share/tmpfiles.conf RENAME vn_client.conf DESTINATION lib/tmpfiles.d)
    install(CODE "
        string(REGEX REPLACE \"/usr/?$\" \"\" vn_root \"\${CMAKE_INSTALL_PREFIX}\")
        file(INSTALL DESTINATION \"\${vn_root}/${CMAKE_INSTALL_SYSCONFDIR}/logrotate.d\" TYPE FILE
            RENAME vn_client FILES \"${PROJECT_SOURCE_DIR}/share/logrotate\")")
endif()
