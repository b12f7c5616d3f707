# Helpers to declare the libraries, programs and tests of the system.

if(CMAKE_SYSTEM_NAME STREQUAL "Darwin")
  set(TOLM_HOST darwin)
else()
  set(TOLM_HOST linux)
endif()

# tolm_library(NAME SOURCES file... [LINK target...])
#
# One static library. "X_host.cpp" among the sources stands for X_linux.cpp or X_darwin.cpp, by the
# host. The LINK lines are the walls between the storeys: name only what lies below.
function(tolm_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  list(TRANSFORM ARG_SOURCES REPLACE "_host\\.cpp$" "_${TOLM_HOST}.cpp")
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC tolm_compile ${ARG_LINK})
endfunction()

# tolm_test(NAME SOURCES file... [LINK target...] [PRIVATE_ROOT] [LABELS label...] [TIMEOUT seconds])
#
# One GoogleTest program, each of its tests registered with CTest by its own name. PRIVATE_ROOT
# tests run with a main() that first enters a mount namespace with empty /opt, /tmp and home.
function(tolm_test name)
  if(NOT TOLM_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "PRIVATE_ROOT" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE tolm_compile ${ARG_LINK} tolm_test_support GTest::gmock)
  if(ARG_PRIVATE_ROOT)
    target_link_libraries(${name} PRIVATE tolm_private_root_main)
  else()
    target_link_libraries(${name} PRIVATE GTest::gmock_main)
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
