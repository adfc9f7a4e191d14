# What every target of the project shares: the language level, the warnings, the sanitizers, and the two
# helpers with which folders declare their library and their tests.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(TSYNCFINDER_BENCH "Build the benchmarks" OFF)
option(TSYNCFINDER_FUZZ "Build the fuzz targets (Clang only)" OFF)
set(TSYNCFINDER_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize takes them")

find_program(TSYNCFINDER_CCACHE ccache)
if(TSYNCFINDER_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER "${TSYNCFINDER_CCACHE}")
    set(CMAKE_CXX_COMPILER_LAUNCHER "${TSYNCFINDER_CCACHE}")
endif()

# Builds of developers link in a third of the time.
if(CMAKE_BUILD_TYPE STREQUAL Debug)
    find_program(TSYNCFINDER_LLD ld.lld)
    if(TSYNCFINDER_LLD)
        add_link_options(-fuse-ld=lld)
    endif()
endif()

# A program loads what it calls: a library that its parts alone would need costs each start some milliseconds.
add_link_options(LINKER:--as-needed)

# Errors are made of them in the presets that developers and the build server use, so that a packager's flags and next
# year's compiler build it too.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion)
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>")
# With -O3, GCC 12 takes "text" + std::to_string(number) for a copy onto itself (its bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options($<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Release>>:-Wno-restrict>)
endif()

if(TSYNCFINDER_SANITIZE)
    add_compile_options(-fsanitize=${TSYNCFINDER_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TSYNCFINDER_SANITIZE})
    # What the sanitizers put into the code misleads GCC's analysis of what is initialised.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

if(TSYNCFINDER_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link) # the fuzzer sees which code an input reaches
endif()

# The distribution's place for libraries, under every prefix.
if(EXISTS /etc/debian_version AND (NOT DEFINED CMAKE_INSTALL_LIBDIR OR CMAKE_INSTALL_LIBDIR STREQUAL lib))
    set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tsyncfinder) # the package of what names none

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# tsf_library(NAME SOURCES … [USES …]): the static library of one folder. USES are the only other
# libraries whose headers it may include. A folder without sources is an interface library.
function(tsf_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
    if(ARG_SOURCES)
        add_library(${name} STATIC ${ARG_SOURCES})
        target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
        target_link_libraries(${name} PUBLIC ${ARG_USES})
    else()
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE "${PROJECT_SOURCE_DIR}/src")
        target_link_libraries(${name} INTERFACE ${ARG_USES})
    endif()
endfunction()

# tsf_test(NAME SOURCES … [USES …] [DISPLAY] [EACH] [COST SECONDS] [GROUPS FILTER…]): one test program of GoogleTest,
# which is one test of ctest: to start a process costs more than most cases. EACH: each case is a test, for those that
# take long or wait. GROUPS: the cases of each filter of names are one, named after what stands before a minus. DISPLAY:
# they need an X display, and have the label "display". COST: what takes long begins first.
function(tsf_test name)
    cmake_parse_arguments(ARG "DISPLAY;EACH" "COST" "SOURCES;USES;GROUPS" ${ARGN})
    set(properties TIMEOUT 300)
    if(ARG_DISPLAY)
        list(APPEND properties LABELS display)
    endif()
    if(ARG_COST)
        list(APPEND properties COST ${ARG_COST})
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/src")
    target_link_libraries(${name} PRIVATE ${ARG_USES} GTest::gmock GTest::gtest_main)
    if(ARG_EACH)
        gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
    elseif(ARG_GROUPS)
        foreach(group IN LISTS ARG_GROUPS)
            string(REGEX REPLACE "-.*|[^A-Za-z]" "" word "${group}")
            add_test(NAME ${name}.${word} COMMAND ${name} --gtest_filter=${group})
            set_tests_properties(${name}.${word} PROPERTIES ${properties})
        endforeach()
    else()
        add_test(NAME ${name} COMMAND ${name})
        # A whole program, on a busy machine, under a sanitizer.
        set_tests_properties(${name} PROPERTIES ${properties} TIMEOUT 600)
    endif()
endfunction()
