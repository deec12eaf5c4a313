# CPack runs this after it has made the packages. dpkg-deb writes them again: CPack took permissions of folders and of the
# packages' parts from the umask, and added scripts that run ldconfig, which is the work of a trigger.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND sh -ec [[
        umask 022
        rm -rf -- "$0.root"
        dpkg-deb --raw-extract "$0" "$0.root"
        find "$0.root" -type d -exec chmod 755 {} +
        for script in "$0.root/DEBIAN/postinst" "$0.root/DEBIAN/postrm"; do
            if [ -e "$script" ] && grep -qw ldconfig "$script"; then rm -- "$script"; fi
        done
        rm -- "$0"
        dpkg-deb --root-owner-group --build "$0.root" "$0" >/dev/null
        rm -rf -- "$0.root"]] ${package})
endforeach()
