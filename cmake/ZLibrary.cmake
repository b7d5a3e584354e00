# Helpers shared by every component folder.
#
# z_add_library(NAME SOURCES ... DEPENDS ... [PRIVATE_DEPENDS ...])
#   One shared library per component: public headers in NAME/include/NAME, sources in NAME/src.
#   Every source gets ZLOG_FILE="NAME/<stem>" so log lines name their file the same way on
#   every machine, whatever the checkout path.
# z_add_tests(NAME SOURCES ... DEPENDS ...)
#   Records a component's tests; they are linked into one test binary per component once the
#   test kit exists (z_add_component_tests).

function(z_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
        -Woverloaded-virtual -Wno-unused-parameter)
    if(Z_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # GCC 12 reports impossible overlaps in inlined std::string copies once optimising (its bug
    # 105329); debug builds are not affected.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Wno-restrict>)
    endif()
endfunction()

function(z_log_file_names component)
    foreach(src IN LISTS ARGN)
        get_filename_component(stem ${src} NAME_WE)
        set_property(SOURCE ${src} APPEND PROPERTY COMPILE_DEFINITIONS "ZLOG_FILE=\"${component}/${stem}\"")
    endforeach()
endfunction()

function(z_add_library name)
    cmake_parse_arguments(Z "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    add_library(${name} SHARED ${Z_SOURCES})
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
        $<INSTALL_INTERFACE:include>)
    target_link_libraries(${name} PUBLIC ${Z_DEPENDS} PRIVATE ${Z_PRIVATE_DEPENDS})
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    z_warnings(${name})
    z_log_file_names(${name} ${Z_SOURCES})
endfunction()

define_property(GLOBAL PROPERTY Z_TEST_COMPONENTS BRIEF_DOCS "components with tests" FULL_DOCS "x")

function(z_add_tests name)
    cmake_parse_arguments(Z "" "" "SOURCES;DEPENDS" ${ARGN})
    if(NOT Z_BUILD_TESTS)
        return()
    endif()
    set(sources)
    foreach(src IN LISTS Z_SOURCES)
        list(APPEND sources ${CMAKE_CURRENT_SOURCE_DIR}/${src})
    endforeach()
    set_property(GLOBAL APPEND PROPERTY Z_TEST_COMPONENTS ${name})
    set_property(GLOBAL PROPERTY Z_TEST_SOURCES_${name} ${sources})
    set_property(GLOBAL PROPERTY Z_TEST_DEPENDS_${name} ${name} ${Z_DEPENDS})
endfunction()

function(z_add_component_tests)
    get_property(components GLOBAL PROPERTY Z_TEST_COMPONENTS)
    foreach(name IN LISTS components)
        get_property(sources GLOBAL PROPERTY Z_TEST_SOURCES_${name})
        get_property(depends GLOBAL PROPERTY Z_TEST_DEPENDS_${name})
        add_executable(${name}Tests ${sources})
        target_link_libraries(${name}Tests PRIVATE ${depends} ZTestKit GTest::gtest GTest::gtest_main)
        target_compile_definitions(${name}Tests PRIVATE Z_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
        z_warnings(${name}Tests)
        z_log_file_names(${name} ${sources})
        gtest_discover_tests(${name}Tests TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 120 PROPERTIES LABELS unit)
    endforeach()
endfunction()
