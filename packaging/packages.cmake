# The packages: Debian's, RPM and a tar file, all of them of what install.cmake puts below /usr.
set(VN_MAINTAINER "vn_client maintainers <maintainers@vorna.example>" CACHE STRING
    "who answers for the packages, as the name and the address of a mail")

set(CPACK_GENERATOR DEB RPM TGZ)
set(CPACK_PACKAGE_NAME vn-client) # Debian's names know no "_"
set(CPACK_PACKAGE_VENDOR "vn_client maintainers")
set(CPACK_PACKAGE_CONTACT "${VN_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "agent of the VORNA network backup system")
set(VN_DESCRIPTION
    "The backup server starts vn_client, on the server itself or on a backup
client, to carry out exactly one small administrative function: read a global
variable, list a directory, copy a file, change an INI value, tell the state of
a drive, configure the media server, stop the processes of a saveset or run a
permitted command as a user. It answers with one record and its exit status.")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_SET_DESTDIR ON) # for the file in /etc
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/stage.cmake)
set(CPACK_VERBATIM_VARIABLES ON)
# Read by stage.cmake.
set(CPACK_VN_SOURCE_DIR ${PROJECT_SOURCE_DIR})

# The directories that share/tmpfiles.conf makes.
file(STRINGS share/tmpfiles.conf lines REGEX "^d ")
set(VN_DIRECTORIES)
foreach(line IN LISTS lines)
    string(REGEX MATCH "/[^ ]+" directory "${line}")
    list(APPEND VN_DIRECTORIES ${directory})
endforeach()
list(JOIN VN_DIRECTORIES " " VN_DIRECTORIES)

# The scripts of a package. When they are to do something is told to Debian's by a word, to those of RPM by
# the number of packages that are left.
set(VN_SCRIPTS ${PROJECT_BINARY_DIR}/packaging)
set(deb_postinst "[ \"$1\" = configure ]")
set(deb_postrm "[ \"$1\" = purge ]")
set(rpm_postinst "[ \"$1\" -ge 1 ]")
set(rpm_postrm "[ \"$1\" -eq 0 ]")
foreach(script postinst postrm)
    foreach(kind deb rpm)
        set(VN_WHEN "${${kind}_${script}}")
        configure_file(packaging/${script}.in ${VN_SCRIPTS}/${kind}/${script} @ONLY
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
            WORLD_EXECUTE)
    endforeach()
endforeach()
file(WRITE ${VN_SCRIPTS}/deb/conffiles "/etc/logrotate.d/vn_client\n")

# What a call of ours cannot do without is required, what only some functions run is recommended:
# mt by t, ssh by clients of that access mode, mount and udevadm by disk devices, the table of protocols
# by the control daemons' client.
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "${VN_DESCRIPTION}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS procps)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "mount, mt-st, netbase, openssh-client, udev")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "bash-completion, logrotate, rsh-client")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${VN_SCRIPTS}/deb/conffiles ${VN_SCRIPTS}/deb/postinst ${VN_SCRIPTS}/deb/postrm)

# Files instead of packages: distributions call these differently.
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE Proprietary)
set(CPACK_RPM_PACKAGE_GROUP "Applications/Archiving")
set(CPACK_RPM_PACKAGE_DESCRIPTION "${VN_DESCRIPTION}")
set(CPACK_RPM_PACKAGE_REQUIRES "/bin/sh, /usr/bin/awk, /usr/bin/chmod, /usr/bin/grep, /usr/bin/ps, /usr/bin/su")
set(CPACK_RPM_SPEC_MORE_DEFINE
    "Recommends: /etc/protocols, /usr/bin/mount, /usr/bin/mt, /usr/bin/ssh, /usr/bin/udevadm
Suggests: bash-completion, /usr/sbin/logrotate
%define _build_id_links none")
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION # others' directories
    /etc/logrotate.d /usr/lib/tmpfiles.d /usr/share/bash-completion /usr/share/bash-completion/completions
    /usr/share/man /usr/share/man/man5 /usr/share/man/man8 /usr/share/zsh /usr/share/zsh/site-functions
    /usr/share/zsh/vendor-completions)
set(CPACK_RPM_USER_FILELIST "%config(noreplace) /etc/logrotate.d/vn_client")
set(CPACK_RPM_POST_INSTALL_SCRIPT_FILE ${VN_SCRIPTS}/rpm/postinst)
set(CPACK_RPM_POST_UNINSTALL_SCRIPT_FILE ${VN_SCRIPTS}/rpm/postrm)
foreach(kind deb rpm)
    execute_process(
        COMMAND ${PROJECT_SOURCE_DIR}/packaging/changelog ${kind} "${VN_MAINTAINER}" ${PROJECT_VERSION}
        OUTPUT_FILE ${VN_SCRIPTS}/${kind}/changelog COMMAND_ERROR_IS_FATAL ANY)
endforeach()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
    CHANGELOG.md packaging/changelog share/tmpfiles.conf)
set(CPACK_RPM_CHANGELOG_FILE ${VN_SCRIPTS}/rpm/changelog)
set(CPACK_VN_CHANGELOG ${VN_SCRIPTS}/deb/changelog)

include(CPack)
