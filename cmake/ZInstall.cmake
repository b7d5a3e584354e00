# Installation, the exported CMake package, pkg-config files and the Debian packages.
#
#   cmake --install build/<preset> --prefix /usr/local
#   (cd build/release && cpack)      (zframework and zframework-dev .deb)
#
# Runtime component: the shared libraries, the discovery module, znodemanager, ztopo and their
# manual pages, the documentation, example configurations and the systemd unit. Development
# component: headers, the unversioned library links, the CMake package (find_package(ZFramework))
# and pkg-config files. Each package also gets its copyright file and Debian changelog.

# Libraries go to the multiarch folder (lib/x86_64-linux-gnu, lib/aarch64-linux-gnu), as Debian
# puts them; it is on the loader's path for /usr and /usr/local. With -DZ_INSTALL_MULTIARCH=OFF,
# CMAKE_INSTALL_LIBDIR stays as given.
option(Z_INSTALL_MULTIARCH "Install the libraries in lib/<multiarch triplet>" ON)
if(Z_INSTALL_MULTIARCH AND CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries" FORCE)
endif()
include(GNUInstallDirs)
# Debian names the documentation folder after the package, not after the project.
if(CMAKE_INSTALL_DOCDIR STREQUAL "${CMAKE_INSTALL_DATAROOTDIR}/doc/${PROJECT_NAME}")
    set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/zframework)
endif()
include(CMakePackageConfigHelpers)

set(Z_FRAMEWORK_LIBRARIES ZShared ZMessages ZCoreConfigs NodeComm NodeBase NodeDiscovery)
set(Z_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZFramework)

# Installed programs find the libraries beside them, wherever the tree is installed or unpacked
# ($ORIGIN-relative RPATH). Installed into /usr (the Debian packages) they need none: the multiarch
# folder is on the loader's path, so the RPATH is removed there (below).
set_target_properties(${Z_FRAMEWORK_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")
set(Z_INSTALLED_PROGRAMS "")
foreach(program znodemanager ztopo)
    if(TARGET ${program})
        file(RELATIVE_PATH to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_lib}")
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
        list(APPEND Z_INSTALLED_PROGRAMS ${program})
    endif()
endforeach()

# Shared libraries are not executables: mode 0644.
set(Z_LIBRARY_PERMISSIONS PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
install(TARGETS ZShared ZMessages ZCoreConfigs NodeComm NodeBase
    EXPORT ZFrameworkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ${Z_LIBRARY_PERMISSIONS}
        COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Node managers load the module by its plain name ("libNodeDiscovery.so"), so its link belongs to
# the runtime, not to the development package.
install(TARGETS NodeDiscovery
    EXPORT ZFrameworkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ${Z_LIBRARY_PERMISSIONS} COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(Z_RPATH_FILES "")
foreach(target IN LISTS Z_INSTALLED_PROGRAMS)
    string(APPEND Z_RPATH_FILES " \"${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:${target}>\"")
endforeach()
foreach(target IN LISTS Z_FRAMEWORK_LIBRARIES)
    string(APPEND Z_RPATH_FILES " \"${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:${target}>\"")
endforeach()
install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
        foreach(file ${Z_RPATH_FILES})
            file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}/usr/\${file}\")
        endforeach()
    endif()" COMPONENT runtime)
foreach(library IN LISTS Z_FRAMEWORK_LIBRARIES)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${library}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
endforeach()

install(EXPORT ZFrameworkTargets NAMESPACE ZFramework:: DESTINATION ${Z_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/cmake/ZFrameworkConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ZFrameworkConfig.cmake INSTALL_DESTINATION ${Z_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZFrameworkConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZFrameworkConfig.cmake ${PROJECT_BINARY_DIR}/ZFrameworkConfigVersion.cmake
    DESTINATION ${Z_CMAKE_DIR} COMPONENT development)

# pkg-config: one file per library, requiring the libraries it builds on, and zframework for all.
# They are written when installing, with the prefix installed to ("prefix=/usr" in the packages).
# No -std flag: the headers need C++17 or later, and the user's project chooses which.
set(Z_PC_PREFIX "@Z_PC_PREFIX@")  # left for the install step to fill in
set(Z_PC_REQUIRES_ZShared "")
set(Z_PC_REQUIRES_ZMessages "zshared")
set(Z_PC_REQUIRES_ZCoreConfigs "zmessages")
set(Z_PC_REQUIRES_NodeComm "zcoreconfigs")
set(Z_PC_REQUIRES_NodeBase "nodecomm")
set(Z_PC_REQUIRES_NodeDiscovery "nodebase")
foreach(library IN LISTS Z_FRAMEWORK_LIBRARIES)
    string(TOLOWER ${library} Z_PC_NAME)
    set(Z_PC_LIBRARY ${library})
    set(Z_PC_REQUIRES ${Z_PC_REQUIRES_${library}})
    configure_file(${PROJECT_SOURCE_DIR}/packaging/pkgconfig/library.pc.in
        ${PROJECT_BINARY_DIR}/pkgconfig/${Z_PC_NAME}.pc.in @ONLY)
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/packaging/pkgconfig/zframework.pc.in
    ${PROJECT_BINARY_DIR}/pkgconfig/zframework.pc.in @ONLY)
install(CODE "
    file(GLOB templates \"${PROJECT_BINARY_DIR}/pkgconfig/*.pc.in\")
    set(Z_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    foreach(template IN LISTS templates)
        get_filename_component(name \"\${template}\" NAME_WLE)
        configure_file(\"\${template}\" \"${PROJECT_BINARY_DIR}/pkgconfig/installed/\${name}\" @ONLY)
    endforeach()" COMPONENT development)
install(DIRECTORY ${PROJECT_BINARY_DIR}/pkgconfig/installed/ DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY packaging/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT runtime)
install(DIRECTORY packaging/systemd/ DESTINATION lib/systemd/system COMPONENT runtime)
# znodemanager's manual page, compressed as Debian has them (gzip -9n: no name, no time stamp).
foreach(program znodemanager)
    set(page ${PROJECT_SOURCE_DIR}/packaging/man/${program}.1)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
    execute_process(COMMAND gzip -9nc ${page} OUTPUT_FILE ${PROJECT_BINARY_DIR}/man/${program}.1.gz
        COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${PROJECT_BINARY_DIR}/man/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT runtime)
endforeach()

# Debian packages, one per component. Each package's documentation folder holds the copyright
# file and the Debian changelog (packaging/debian/changelog: one entry per packaged version).
set(Z_DEB_RELEASE 1)
set(Z_DEB_VERSION ${PROJECT_VERSION}-${Z_DEB_RELEASE})
set(Z_DEB_CHANGELOG ${PROJECT_SOURCE_DIR}/packaging/debian/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${Z_DEB_CHANGELOG})
execute_process(COMMAND gzip -9nc ${Z_DEB_CHANGELOG} OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.Debian.gz
    COMMAND_ERROR_IS_FATAL ANY)
foreach(pair runtime:zframework development:zframework-dev)
    string(REPLACE ":" ";" pair ${pair})
    list(GET pair 0 component)
    list(GET pair 1 package)
    install(FILES packaging/debian/copyright ${PROJECT_BINARY_DIR}/changelog.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()

# ztopo's man page and bash completion, written at build time by ztopo from the description its
# --help prints (tools/CMakeLists.txt).
if(TARGET ztopo_manual)
    install(FILES ${PROJECT_BINARY_DIR}/tools/ztopo.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    install(FILES ${PROJECT_BINARY_DIR}/tools/ztopo.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME ztopo COMPONENT runtime)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zframework)
set(CPACK_PACKAGE_VENDOR "ZFramework developers")
set(CPACK_PACKAGE_CONTACT "ZFramework developers <zframework@zframework.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${Z_DEB_RELEASE})
# Installed as into /usr (DESTDIR), so that the install step knows the packages' prefix: the
# pkg-config files say prefix=/usr and the programs lose their RPATH.
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# A cross build's packages are for the target's architecture (arm64 for aarch64-linux-gnu), not
# for the build machine's.
if(CMAKE_CROSSCOMPILING AND CMAKE_LIBRARY_ARCHITECTURE)
    execute_process(COMMAND dpkg-architecture -t ${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zframework)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The maintainer scripts create the system user (adduser), and stop the service instances
# (deb-systemd-invoke, of the essential init-system-helpers) and unlink them on removal; the
# trigger runs ldconfig. CPack writes the shlibs file (only the runtime package has libraries).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA)
foreach(file postinst prerm postrm triggers)
    list(APPEND CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/runtime/${file})
endforeach()
# Each description's first line is the package's summary.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Message-passing node framework with its discovery node
ZFramework splits software into nodes that exchange messages through named
endpoints, hosted by node managers that talk over an MQTT broker.

This package holds the shared libraries, the discovery module, the node
manager host znodemanager (with a systemd unit, znodemanager@.service), the
topology tool ztopo, documentation and example configurations.")
# The broker is a service the node managers talk to, often on another machine: suggested only.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "mosquitto, mosquitto-clients")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME zframework-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The public headers include only the standard library (libmosquitto and nlohmann-json stay
# inside the libraries), so the headers need nothing but the libraries of the same build.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "zframework (= ${Z_DEB_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Message-passing node framework: development files
ZFramework splits software into nodes that exchange messages through named
endpoints, hosted by node managers that talk over an MQTT broker.

This package holds the headers, the CMake package (find_package(ZFramework))
and the pkg-config files needed to build programs and modules against it.")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/ZShared ${PROJECT_BINARY_DIR}/ZMessages
    ${PROJECT_BINARY_DIR}/ZCoreConfigs ${PROJECT_BINARY_DIR}/NodeComm ${PROJECT_BINARY_DIR}/NodeBase
    ${PROJECT_BINARY_DIR}/NodeDiscovery)
include(CPack)
