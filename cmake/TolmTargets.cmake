# Helpers to declare the libraries, programs and tests of the system.

# The sources of macOS are compiled for that system, and here over the test platform in tests/macos/platform.
if(CMAKE_SYSTEM_NAME STREQUAL "Darwin" OR TOLM_TEST_PLATFORM)
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
# tests run with a main() that first enters a mount namespace with empty /opt, /tmp and home. Over the test
# platform of macOS all have the label "macos". The global property TOLM_TEST_PROGRAMS lists what was declared.
function(tolm_test name)
  if(NOT TOLM_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "PRIVATE_ROOT" "TIMEOUT" "SOURCES;LINK;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(TOLM_TEST_PLATFORM)
    set(ARG_LABELS macos)
  endif()
  set_property(GLOBAL APPEND PROPERTY TOLM_TEST_PROGRAMS ${name})
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

# tolm_fuzzer(NAME SOURCES file... [LINK target...] [CORPUS folder])
#
# One libFuzzer program, built by the preset "fuzz" into build/fuzz/fuzzers/. CORPUS is the folder
# below fuzz/corpus/ that holds its seeds. The target run_NAME starts from the seeds, keeps what it
# finds in the build folder and ends after TOLM_FUZZ_SECONDS.
set(TOLM_FUZZ_SECONDS 60 CACHE STRING "Seconds that a run_<fuzzer> target takes")
function(tolm_fuzzer name)
  cmake_parse_arguments(ARG "" "CORPUS" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE tolm_compile ${ARG_LINK})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzzers)
  set(found ${CMAKE_BINARY_DIR}/fuzzers/${name}.corpus)
  set(seeds)
  if(ARG_CORPUS)
    set(seeds ${CMAKE_SOURCE_DIR}/fuzz/corpus/${ARG_CORPUS})
  endif()
  add_custom_target(run_${name}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${found}
    COMMAND ${name} -max_total_time=${TOLM_FUZZ_SECONDS} -print_final_stats=1 -verbosity=0 ${found} ${seeds}
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/fuzzers
    USES_TERMINAL)
endfunction()

# tolm_bench(NAME SOURCES file... [LINK target...])
#
# One Google Benchmark program, in build/<preset>/bench/.
function(tolm_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  find_package(benchmark REQUIRED)
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE tolm_compile ${ARG_LINK} benchmark::benchmark_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
endfunction()
