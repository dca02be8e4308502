# One interface target carries the warnings and sanitizers; every library and program links it.
add_library(keldane_flags INTERFACE)
target_include_directories(keldane_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(keldane_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
  $<$<BOOL:${KELDANE_WERROR}>:-Werror>)
# GCC 12 raises these three for sound code once it optimises: in its own headers of strings and
# optionals, and for scope guards that leave a pointer to themselves with a longer-lived object.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(keldane_flags INTERFACE
    -Wno-maybe-uninitialized -Wno-restrict
    $<$<VERSION_GREATER_EQUAL:$<CXX_COMPILER_VERSION>,12>:-Wno-dangling-pointer>)
endif()
if(KELDANE_SANITIZE)
  target_compile_options(keldane_flags INTERFACE
    -fsanitize=${KELDANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(keldane_flags INTERFACE -fsanitize=${KELDANE_SANITIZE})
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# keldane_library(NAME SOURCES... [LINK targets...]): one static library for a folder.
function(keldane_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC keldane_flags ${ARG_LINK})
endfunction()

# keldane_test(NAME SOURCES... [LINK targets...]): one GoogleTest program, one ctest per case.
function(keldane_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE keldane_flags ${ARG_LINK} GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES TIMEOUT 300)
endfunction()

# keldane_server_test(NAME SOURCES... [LINK targets...]): the same for a program that starts a
# database server of its own: one ctest for the whole program, so that the server starts once.
function(keldane_server_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE
    keldane_flags keldane_test_support ${ARG_LINK} GTest::gtest_main GTest::gmock)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
