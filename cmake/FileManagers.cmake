# The file managers that have a plugin. From this list come the plugins, their packages, what the doctor looks at and
# what is tested in a real file manager.
#
# A row: the folder of its adapter in src/hosts; program; title; pkg-config's module of its extension library, or "-";
# Debian's package of that; the oldest version that loads the plugin; the folder of its extensions below the library
# folder, where pkg-config does not tell; the command that ends it; the environment variable that names other folders,
# or "-"; what it shows: "badges", and the menu, or the "menu" alone.

# KDE's plugins are built for one version of its frameworks: the newest that is there, or none. TSYNCFINDER_KF is its
# number, and the number of the Qt that goes with it. It is looked for before any other Qt: KDE's own files go by the
# first that was found. The targets and functions without a number in their name stay those of the panels' Qt.
set(QT_NO_CREATE_VERSIONLESS_TARGETS ON)
set(QT_NO_CREATE_VERSIONLESS_FUNCTIONS ON)
set(TSYNCFINDER_KF)
foreach(version 6 5)
    find_package(KF${version}KIO QUIET)
    if(KF${version}KIO_FOUND)
        find_package(Qt${version} QUIET REQUIRED COMPONENTS Widgets DBus)
        find_package(KF${version}CoreAddons QUIET REQUIRED)
        set(TSYNCFINDER_KF ${version})
        break()
    endif()
endforeach()
unset(QT_NO_CREATE_VERSIONLESS_TARGETS)
unset(QT_NO_CREATE_VERSIONLESS_FUNCTIONS)
unset(QT_MAJOR_VERSION)
unset(QT_DEFAULT_MAJOR_VERSION)
set(TSYNCFINDER_KF_PLUGINS "qt5/plugins/kf5")
if(TSYNCFINDER_KF)
    set(TSYNCFINDER_KF_PLUGINS "qt${TSYNCFINDER_KF}/plugins/kf${TSYNCFINDER_KF}")
endif()

set(TSYNCFINDER_FILE_MANAGERS
    "nautilus-family|nautilus|Nautilus|libnautilus-extension-4|libnautilus-extension-dev|43|nautilus/extensions-4|nautilus -q|-|badges"
    "nautilus-family|nemo|Nemo|libnemo-extension|libnemo-extension-dev|5.6|nemo/extensions-3.0|nemo -q|-|badges"
    "nautilus-family|caja|Caja|libcaja-extension|libcaja-extension-dev|1.26|caja/extensions-2.0|caja -q|CAJA_EXTENSION_DIRS|badges"
    "nautilus-family|thunar|Thunar|thunarx-3|libthunarx-3-dev|4.18|thunarx-3|thunar -q|-|menu"
    "dolphin|dolphin|Dolphin|-|libkf5kio-dev|4:22|${TSYNCFINDER_KF_PLUGINS}/overlayicon|pkill -x dolphin|-|badges")

# tsf_file_manager(ROW): sets FM_ADAPTER, FM_PROGRAM, FM_TITLE, FM_MODULE, FM_LIBRARY_PACKAGE, FM_OLDEST, FM_QUIT,
# FM_VARIABLE and FM_SHOWS; FM_FOLDER, from which it loads its extensions; and FM_DESTINATION, where that lies below a prefix.
macro(tsf_file_manager row)
    string(REPLACE "|" ";" fields "${row}")
    list(POP_FRONT fields FM_ADAPTER FM_PROGRAM FM_TITLE FM_MODULE FM_LIBRARY_PACKAGE FM_OLDEST FM_DESTINATION FM_QUIT
        FM_VARIABLE FM_SHOWS)
    if(FM_VARIABLE STREQUAL "-")
        set(FM_VARIABLE "")
    endif()
    set(FM_FOLDER)
    set(libraries)
    if(NOT FM_MODULE STREQUAL "-")
        pkg_get_variable(FM_FOLDER ${FM_MODULE} extensiondir)
        pkg_get_variable(libraries ${FM_MODULE} libdir)
    endif()
    if(FM_FOLDER AND libraries)
        file(RELATIVE_PATH FM_DESTINATION "${libraries}" "${FM_FOLDER}")
    else()
        set(FM_FOLDER "/usr/${CMAKE_INSTALL_LIBDIR}/${FM_DESTINATION}")
    endif()
    set(FM_DESTINATION "${CMAKE_INSTALL_LIBDIR}/${FM_DESTINATION}")
endmacro()

# tsf_tell_of_vain_install(COMPONENT DESTINATION FILE FOLDER WHO): an installation under a prefix where nobody looks
# says so, and what to do. WHO reads FOLDER, and the file has gone to DESTINATION below the prefix.
function(tsf_tell_of_vain_install component destination file folder who)
    install(CODE "
        get_filename_component(prefix \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
        set(place \"\${prefix}/${destination}\")
        if(\"\$ENV{DESTDIR}\" STREQUAL \"\" AND NOT prefix STREQUAL \"/usr\" AND NOT place STREQUAL \"${folder}\")
            message(NOTICE \"${who} looks into ${folder}, not into \${place}. Install with --prefix /usr, or:\\n\"
                \"    ln -s \${place}/${file} ${folder}/\")
        endif()" COMPONENT ${component})
endfunction()
