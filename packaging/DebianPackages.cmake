# The Debian packages: the library, what is needed to build against it, the tool, and the Python package. The preset
# packages makes them.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR "The packages need -DCMAKE_INSTALL_PREFIX=/usr, whose folders are the distribution's")
endif()
foreach(program dpkg-architecture dpkg-gensymbols dpkg-shlibdeps file python3)  # without file the packages would lack their dependencies
    find_program(found_${program} ${program} NO_CACHE)
    if(NOT found_${program})
        message(FATAL_ERROR "The packages need ${program}: scripts/install-packages dpkg-dev file python3")
    endif()
endforeach()
if(NOT CMAKE_GENERATOR STREQUAL "Ninja")
    message(FATAL_ERROR "The packages need -G Ninja, which records what was compiled")
endif()
set(name libtalvorafilechanneldriver)
set(library_package ${name}${PROJECT_VERSION_MAJOR})
set(debian_dir ${CMAKE_CURRENT_BINARY_DIR}/debian)

# One commit makes the same packages, byte for byte, whenever and wherever it is built. Their time is SOURCE_DATE_EPOCH,
# or that of the commit, which an archive made by git has in source-date.
set(epoch "$ENV{SOURCE_DATE_EPOCH}")
if(epoch STREQUAL "")
    file(STRINGS source-date epoch)
endif()
if(NOT epoch MATCHES "^[0-9]+$")
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
        OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
if(NOT epoch MATCHES "^[0-9]+$")
    message(FATAL_ERROR "The packages need a time: git does not tell that of the commit; set SOURCE_DATE_EPOCH")
endif()
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
file(CONFIGURE OUTPUT CPackProjectConfig.cmake CONTENT "set(ENV{SOURCE_DATE_EPOCH} @epoch@)\n" @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/CPackProjectConfig.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/RebuildPackages.cmake)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${name})
set(CPACK_PACKAGE_CONTACT "The developers of OrmTrace <developers@orm-trace.example>" CACHE STRING
    "The packages' maintainer, with an address")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own first line
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
set(CPACK_DEBIAN_PACKAGE_RELEASE 0orm1)  # older than the 1 that a distribution begins with
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)  # on exactly this version
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(TARGET corva)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})  # of the stand-in
else()
    cmake_path(GET Corva_LIBRARY PARENT_PATH CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS)
endif()

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "trace file channel driver
A host loads this library to page through captured traces: 64-bit samples
kept in TDF container files or in plain files. Plug-ins find the reader and
writer of TDF files, a decoder of hardware time stamps and a support library
in it.")
file(CONFIGURE OUTPUT debian/shlibs CONTENT
    "libTalvoraFileChannelDriver @PROJECT_VERSION_MAJOR@ @library_package@ (>= @PROJECT_VERSION@)\n" @ONLY)
# The exported names. One that is new or missing fails the build. dpkg-gensymbols takes a name for missing only in a later
# version than the one that brought it; the revision makes this one later.
set(symbols ${CMAKE_CURRENT_SOURCE_DIR}/debian/${library_package}.symbols)
execute_process(COMMAND dpkg-architecture -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH COMMAND_ERROR_IS_FATAL ANY
    OUTPUT_VARIABLE host_arch OUTPUT_STRIP_TRAILING_WHITESPACE)
add_custom_command(OUTPUT ${debian_dir}/symbols DEPENDS TalvoraFileChannelDriver ${symbols} VERBATIM
    COMMAND ${CMAKE_COMMAND} -E env DEB_HOST_ARCH=${host_arch}
            dpkg-gensymbols -p${library_package} -v${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE} -c4 -I${symbols}
            -Pdebian -O${debian_dir}/symbols -e$<TARGET_FILE:TalvoraFileChannelDriver>)
add_custom_target(package-symbols ALL DEPENDS ${debian_dir}/symbols)
file(CONFIGURE OUTPUT debian/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${debian_dir}/shlibs ${debian_dir}/symbols ${debian_dir}/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${name}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "trace file channel driver (development files)
The public headers of the trace file channel driver and of its services, for
authors of hosts and of plug-ins, and what CMake and pkg-config find it by.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${name}-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "trace file channel driver (command-line tool)
The tool orm-trace looks into, checks, repairs and writes TDF trace files, and
decodes the time stamps in them. With it come the manual pages, of the format
too, and the completions for bash, zsh and fish.")
if(ORM_BUILD_TOOL)
    list(APPEND CPACK_COMPONENTS_ALL tools)
    set(CPACK_COMPONENT_TOOLS_DEPENDS library)
endif()
if(ORM_HAS_PYTHON)
    list(APPEND CPACK_COMPONENTS_ALL python)
    set(CPACK_COMPONENT_PYTHON_DEPENDS library)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-orm-trace)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    # The core is built for one minor version of Python.
    math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= 3.${Python3_VERSION_MINOR}~), python3 (<< 3.${next_minor}), python3-numpy")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-dask, python3-distributed, python3-matplotlib, python3-pandas")
    set(CPACK_DEBIAN_PYTHON_DESCRIPTION "captured hardware traces as numpy arrays
The Python package orm_trace reads and writes TDF trace files and plain files
of samples, searches them and decodes their time stamps, and makes Dask arrays
of many of them.")
    file(CONFIGURE OUTPUT debian/python/postinst CONTENT
        "#!/bin/sh\nset -e\nif [ \"$1\" = configure ]; then py3compile -p python3-orm-trace; fi\n" @ONLY)
    file(CONFIGURE OUTPUT debian/python/prerm CONTENT "#!/bin/sh\nset -e\npy3clean -p python3-orm-trace\n" @ONLY)
    file(CHMOD ${debian_dir}/python/postinst ${debian_dir}/python/prerm
        PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian_dir}/python/postinst ${debian_dir}/python/prerm)
endif()

# The documents of every Debian package; other installations do not have them.
find_program(GZIP gzip REQUIRED)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT debian/changelog.Debian @ONLY CONTENT
"@CPACK_PACKAGE_NAME@ (@PROJECT_VERSION@-@CPACK_DEBIAN_PACKAGE_RELEASE@) unstable; urgency=medium

  * Version @PROJECT_VERSION@, see changelog.gz for what is new in it.

 -- @CPACK_PACKAGE_CONTACT@  @date@
")
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md debian/changelog COPYONLY)
execute_process(COMMAND ${GZIP} -9nfk changelog changelog.Debian WORKING_DIRECTORY ${debian_dir}
    COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    install(FILES debian/copyright ${debian_dir}/changelog.gz ${debian_dir}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
# What the packages were made of: of each target what the compiler read, and what else is installed.
if(ORM_BUILD_TOOL)
    foreach(target IN ITEMS TalvoraFileChannelDriver corva)
        if(TARGET ${target})
            list(APPEND made ${library_package}=$<TARGET_FILE:${target}>)
            list(APPEND made_of ${target})
        endif()
    endforeach()
    list(APPEND made ${name}-dev= ${name}-tools=$<TARGET_FILE:orm-trace>)
    list(APPEND made_of orm-trace)
    get_target_property(installed orm_headers HEADER_SET)
    list(APPEND installed ${CMAKE_CURRENT_SOURCE_DIR}/debian/copyright ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
    if(ORM_HAS_VIEW)
        list(APPEND installed ${PROJECT_SOURCE_DIR}/view/licenses.txt)
    endif()
    if(ORM_BUILD_DOCS)
        get_directory_property(pages DIRECTORY ${PROJECT_SOURCE_DIR}/docs DEFINITION names)
        list(TRANSFORM pages REPLACE "(.+)" "${PROJECT_SOURCE_DIR}/docs/\\1.md")
        list(APPEND installed ${pages})
    endif()
    if(ORM_HAS_PYTHON)
        list(APPEND made ${CPACK_DEBIAN_PYTHON_PACKAGE_NAME}=$<TARGET_FILE:orm_python>)
        list(APPEND made_of orm_python)
        get_directory_property(python_sources DIRECTORY ${PROJECT_SOURCE_DIR}/python DEFINITION sources)
        list(APPEND installed ${python_sources})
    endif()
    set(spdx ${debian_dir}/orm-trace.spdx.json)
    add_custom_command(OUTPUT ${spdx} DEPENDS ${made_of} make-spdx ${installed} VERBATIM
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/make-spdx --ninja ${CMAKE_MAKE_PROGRAM} --compiler ${CMAKE_CXX_COMPILER} --objdump ${CMAKE_OBJDUMP}
                --source ${PROJECT_SOURCE_DIR} --build ${CMAKE_BINARY_DIR} --date ${epoch}
                --package-version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE} --out ${spdx} ${made}
                --installed ${installed})
    add_custom_target(package-spdx ALL DEPENDS ${spdx})
    install(FILES ${spdx} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name}-tools COMPONENT tools EXCLUDE_FROM_ALL)
endif()
# A host finds the driver by its name without a version, also at run time. The stand-in does not use the C library.
file(CONFIGURE OUTPUT debian/${library_package} CONTENT
    "${library_package}: link-to-shared-library-in-wrong-package usr/lib/*/libTalvoraFileChannelDriver.so*
${library_package}: library-not-linked-against-libc *orm-trace/libcorva.so*\n")
install(FILES ${debian_dir}/${library_package} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
    COMPONENT library EXCLUDE_FROM_ALL)
include(CPack)
file(REMOVE ${CMAKE_BINARY_DIR}/CPackSourceConfig.cmake)  # "git archive" makes an archive of the sources
