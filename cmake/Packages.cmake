# The Debian packages, by the distribution's layout. `cmake --build … --target packages` makes them from any build
# folder, in its folder packages/; script/package makes the ones to give away. Those of a debug build, which only a test
# installs, name no libraries that they need: to find them takes a minute.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tsyncfinder)
set(CPACK_PACKAGE_VENDOR "TSyncFinder developers")
set(CPACK_PACKAGE_CONTACT "TSyncFinder developers <developers@tsyncfinder.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_OUTPUT_FILE_PREFIX "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
# What is installed knows its place: the packages' is /usr, whatever this build folder's own is.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_BUILD_TYPE STREQUAL Debug)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
    set(CPACK_DEBIAN_COMPRESSION_TYPE none)
endif()
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(CPACK_COMPONENTS_ALL)
set(contents documents)

# tsf_package(COMPONENT NAME SECTION TARGETS … SUMMARY … DESCRIPTION … [FIELD VALUE …]): one package, of what is
# installed under the component; FIELDs are CPack's, as DEPENDS.
macro(tsf_package component name section)
    cmake_parse_arguments(PKG "" "SUMMARY;DESCRIPTION" "TARGETS;FIELDS" ${ARGN})
    string(TOUPPER "${component}" key)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    list(APPEND contents ${PKG_TARGETS})
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_COMPONENT_${key}_DESCRIPTION "${PKG_SUMMARY}\n${PKG_DESCRIPTION}")
    set(fields ${PKG_FIELDS})
    while(fields)
        list(POP_FRONT fields field value)
        set(CPACK_DEBIAN_${key}_PACKAGE_${field} "${value}")
    endwhile()
    install(FILES "${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz" "${CMAKE_CURRENT_SOURCE_DIR}/debian/copyright"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" COMPONENT ${component})
endmacro()

# tsf_package_with_unit(COMPONENT): its package enables the user unit of its name, and has an autostart entry.
macro(tsf_package_with_unit component)
    set(unit ${component}.service)
    set(component "${component}") # a parameter of a macro is no variable that a file could name
    string(TOUPPER "${component}" key)
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA)
    foreach(file postinst postrm conffiles)
        configure_file("debian/${file}.in" "debian/${component}/${file}" @ONLY)
        list(APPEND CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_BINARY_DIR}/debian/${component}/${file}")
    endforeach()
endmacro()

set(panel)
if(TARGET tsyncfinder-panel)
    set(panel tsyncfinder-panel)
endif()
set(images)
if(TARGET images)
    set(images images)
endif()

set(debian "${CMAKE_CURRENT_SOURCE_DIR}/debian")
tsf_package(tsyncfinder tsyncfinder utils
    TARGETS tsyncfinder ${panel} ${images}
    SUMMARY "sync badges and commands for file managers"
    DESCRIPTION "The file-manager extension of a desktop cloud-sync service. It shows what
the sync daemon does as badges on files and folders, and offers its
commands in a menu.

This package holds the extension process, its command line and its
panels. A package for each file manager brings the plugin."
    FIELDS DEPENDS "default-dbus-session-bus | dbus-session-bus, hicolor-icon-theme"
           SUGGESTS "nautilus-tsyncfinder, nemo-tsyncfinder, caja-tsyncfinder, thunar-tsyncfinder, dolphin-tsyncfinder, gnome-keyring"
           RECOMMENDS "qt6-wayland, qt6-translations-l10n")
tsf_package_with_unit(tsyncfinder)

foreach(row IN LISTS TSYNCFINDER_FILE_MANAGERS)
    tsf_file_manager("${row}")
    set(component ${FM_PROGRAM})
    if(NOT TARGET tsyncfinder-${component})
        continue()
    endif()
    set(targets tsyncfinder-${component})
    set(shown "badges and commands")
    set(brings "shows the badges and the menu")
    if(FM_SHOWS STREQUAL "menu")
        set(shown "commands")
        set(brings "has the menu and a page")
    endif()
    if(TARGET tsyncfinder-${component}-menu)
        list(APPEND targets tsyncfinder-${component}-menu)
    endif()
    tsf_package(${component} ${component}-tsyncfinder utils
        TARGETS ${targets}
        SUMMARY "sync ${shown} in ${FM_TITLE}"
        DESCRIPTION "The plugin through which ${FM_TITLE} ${brings} of
TSyncFinder, the file-manager extension of a desktop cloud-sync service."
        FIELDS DEPENDS "tsyncfinder (= ${version}), ${component} (>= ${FM_OLDEST})" ENHANCES ${component})
endforeach()

set(snapshots "Scans a directory hierarchy into a tree of names, sizes, kinds and times,
stores it as a flat file or an SQLite database, and compares two of them.")
tsf_package(libdssnapshot0 libdssnapshot0 libs
    TARGETS dssnapshot
    SUMMARY "directory snapshots, shared library"
    DESCRIPTION "${snapshots}\n\nThis package holds the shared library.")
configure_file(debian/shlibs.in shlibs @ONLY)
set(CPACK_DEBIAN_LIBDSSNAPSHOT0_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_BINARY_DIR}/shlibs" "${debian}/triggers")
tsf_package(libdssnapshot-dev libdssnapshot-dev libdevel
    SUMMARY "directory snapshots, development files"
    DESCRIPTION "${snapshots}\n\nThis package holds the headers of the C interface."
    FIELDS DEPENDS "libdssnapshot0 (= ${version})")
tsf_package(dirsnapshot dirsnapshot utils
    TARGETS dirsnapshot
    SUMMARY "take, list, compare and hash directory snapshots"
    DESCRIPTION "${snapshots}\n\nThis package holds the program for the command line.")
if(TARGET tsyncquenz)
    tsf_package(tsyncquenz tsyncquenz net
        TARGETS tsyncquenz
        SUMMARY "keeps folders in step with a storage of one's own"
        DESCRIPTION "A sync service over rclone: a folder of this machine and a folder of an
SFTP, WebDAV, S3 or cloud storage are kept in step, both ways. With
tsyncfinder its work is seen and commanded in file managers."
        FIELDS DEPENDS "rclone (>= 1.60), default-dbus-session-bus | dbus-session-bus" ENHANCES tsyncfinder
               RECOMMENDS tsyncfinder SUGGESTS "gnome-keyring, xdg-utils")
    tsf_package_with_unit(tsyncquenz)
endif()
tsf_package(tsyncquenz-sandbox tsyncquenz-sandbox devel
    TARGETS tsyncquenz-sandbox
    SUMMARY "stand-in for the sync daemon, for development"
    DESCRIPTION "A stand-in for the daemon that TSyncFinder belongs to, for demos,
development and tests. It is no sync service: its remote space is a folder
on the same machine."
    FIELDS DEPENDS "default-dbus-session-bus | dbus-session-bus" ENHANCES tsyncfinder)

include(CPack)
add_custom_target(packages
    COMMAND "${CMAKE_COMMAND}" -E rm -rf "${PROJECT_BINARY_DIR}/packages"
    COMMAND "${CMAKE_CPACK_COMMAND}" --config "${PROJECT_BINARY_DIR}/CPackConfig.cmake"
    DEPENDS ${contents}
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}"
    COMMENT "Making the packages" VERBATIM)
