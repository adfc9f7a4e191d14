# The file managers that have a plugin. From this list come the plugins, their packages, what the doctor looks at and
# what is tested in a real file manager.
#
# A row: program; title; pkg-config's module of its extension library; Debian's package of that; the oldest version
# that loads the plugin; the folder of its extensions below the library folder, where pkg-config does not tell; the
# option that ends it; the environment variable that names other folders, or "-".
set(TSYNCFINDER_FILE_MANAGERS
    "nautilus|Nautilus|libnautilus-extension-4|libnautilus-extension-dev|43|nautilus/extensions-4|-q|-"
    "nemo|Nemo|libnemo-extension|libnemo-extension-dev|5.6|nemo/extensions-3.0|-q|-"
    "caja|Caja|libcaja-extension|libcaja-extension-dev|1.26|caja/extensions-2.0|-q|CAJA_EXTENSION_DIRS")

# tsf_file_manager(ROW): sets FM_PROGRAM, FM_TITLE, FM_MODULE, FM_LIBRARY_PACKAGE, FM_OLDEST, FM_QUIT and FM_VARIABLE;
# FM_FOLDER, from which it loads its extensions; and FM_DESTINATION, where that lies below a prefix.
macro(tsf_file_manager row)
    string(REPLACE "|" ";" fields "${row}")
    list(POP_FRONT fields FM_PROGRAM FM_TITLE FM_MODULE FM_LIBRARY_PACKAGE FM_OLDEST FM_DESTINATION FM_QUIT FM_VARIABLE)
    if(FM_VARIABLE STREQUAL "-")
        set(FM_VARIABLE "")
    endif()
    pkg_get_variable(FM_FOLDER ${FM_MODULE} extensiondir)
    pkg_get_variable(libraries ${FM_MODULE} libdir)
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
