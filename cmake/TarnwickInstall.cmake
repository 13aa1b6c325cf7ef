# Installation helpers that follow the prefix chosen when installing
# (cmake --install --prefix DIR), not only the one configured, and DESTDIR.

# tw_install_command(<command name> <executable, relative to the prefix>)
# A symbolic link <prefix>/bin/<command name> to the executable inside its bundle.
function(tw_install_command name executable)
    install(CODE "
        set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        file(MAKE_DIRECTORY \"\${bin}\")
        file(CREATE_LINK \"../${executable}\" \"\${bin}/${name}\" SYMBOLIC)
    ")
endfunction()

# tw_install_desktop_entry(<template> <executable, relative to the prefix>)
# <prefix>/share/applications/<template name without .in>, whose @TW_INSTALLED_EXEC@
# is the executable's absolute installed path.
function(tw_install_desktop_entry template executable)
    get_filename_component(name "${template}" NAME_WLE)
    install(CODE "
        set(TW_INSTALLED_EXEC \"\${CMAKE_INSTALL_PREFIX}/${executable}\")
        configure_file(\"${template}\"
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/applications/${name}\" @ONLY)
    ")
endfunction()
