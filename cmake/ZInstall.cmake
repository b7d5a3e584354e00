# Installation, the exported CMake package, pkg-config files and the Debian packages.
#
#   cmake --install build/<preset> --prefix /usr/local
#   cpack --config build/<preset>/CPackConfig.cmake    (zframework and zframework-dev .deb)
#
# Runtime component: the shared libraries, the discovery module, znodemanager, ztopo, the
# documentation, example configurations and the systemd units. Development component: headers,
# the unversioned library links, the CMake package (find_package(ZFramework)) and pkg-config files.
include(GNUInstallDirs)
# Debian names the documentation folder after the package, not after the project.
if(CMAKE_INSTALL_DOCDIR STREQUAL "${CMAKE_INSTALL_DATAROOTDIR}/doc/${PROJECT_NAME}")
    set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/zframework)
endif()
include(CMakePackageConfigHelpers)

set(Z_FRAMEWORK_LIBRARIES ZShared ZMessages ZCoreConfigs NodeComm NodeBase NodeDiscovery)
set(Z_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZFramework)

# Installed programs find the libraries beside them, wherever the tree is unpacked.
set_target_properties(${Z_FRAMEWORK_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")
foreach(program znodemanager ztopo)
    if(TARGET ${program})
        file(RELATIVE_PATH to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_lib}")
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
    endif()
endforeach()

install(TARGETS ZShared ZMessages ZCoreConfigs NodeComm NodeBase
    EXPORT ZFrameworkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Node managers load the module by its plain name ("libNodeDiscovery.so"), so its link belongs to
# the runtime, not to the development package.
install(TARGETS NodeDiscovery
    EXPORT ZFrameworkTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
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
# The prefix is found from the file's own place, so an unpacked or relocated tree works too.
file(RELATIVE_PATH Z_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
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
        ${PROJECT_BINARY_DIR}/pkgconfig/${Z_PC_NAME}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${Z_PC_NAME}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/packaging/pkgconfig/zframework.pc.in
    ${PROJECT_BINARY_DIR}/pkgconfig/zframework.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/zframework.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY packaging/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT runtime)
install(DIRECTORY packaging/systemd/ DESTINATION lib/systemd/system COMPONENT runtime)

# ztopo's man page and bash completion, written at build time by ztopo (tools/CMakeLists.txt).
if(TARGET ztopo_manual)
    install(FILES ${PROJECT_BINARY_DIR}/tools/ztopo.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    install(FILES ${PROJECT_BINARY_DIR}/tools/ztopo.bash-completion
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions RENAME ztopo COMPONENT runtime)
endif()

# Debian packages, one per component.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zframework)
set(CPACK_PACKAGE_VENDOR "ZFramework developers")
set(CPACK_PACKAGE_CONTACT "ZFramework developers <zframework@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Message-passing node framework with its discovery node")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zframework)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION net)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The broker is a service the node managers talk to, often on another machine: suggested only.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "mosquitto, mosquitto-clients")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME zframework-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "zframework (= ${PROJECT_VERSION}), libmosquitto-dev")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/ZShared ${PROJECT_BINARY_DIR}/ZMessages
    ${PROJECT_BINARY_DIR}/ZCoreConfigs ${PROJECT_BINARY_DIR}/NodeComm ${PROJECT_BINARY_DIR}/NodeBase
    ${PROJECT_BINARY_DIR}/NodeDiscovery)
include(CPack)
