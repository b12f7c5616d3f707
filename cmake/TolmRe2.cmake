# tolm_re2: the library for patterns. The distribution's own; in a build for macOS on Linux its sources, out of
# the distribution's source package.
if(NOT (CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_NAME STREQUAL "Darwin"))
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(RE2 REQUIRED IMPORTED_TARGET re2)
  add_library(tolm_re2 INTERFACE)
  target_link_libraries(tolm_re2 INTERFACE PkgConfig::RE2)
  return()
endif()

set(TOLM_RE2_DIR ${CMAKE_SOURCE_DIR}/build/deps/re2 CACHE PATH "Folder of a RE2 release; fetched where it is missing")
if(TOLM_RE2_DIR STREQUAL "${CMAKE_SOURCE_DIR}/build/deps/re2")
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-source re2 ${TOLM_RE2_DIR}
    RESULT_VARIABLE tolm_fetch_result)
  if(NOT tolm_fetch_result EQUAL 0)
    message(FATAL_ERROR "scripts/fetch-source failed; what it printed stands above.")
  endif()
endif()

set(tolm_re2_files
  re2/bitstate.cc re2/compile.cc re2/dfa.cc re2/filtered_re2.cc re2/mimics_pcre.cc re2/nfa.cc re2/onepass.cc
  re2/parse.cc re2/perl_groups.cc re2/prefilter.cc re2/prefilter_tree.cc re2/prog.cc re2/re2.cc re2/regexp.cc
  re2/set.cc re2/simplify.cc re2/stringpiece.cc re2/tostring.cc re2/unicode_casefold.cc re2/unicode_groups.cc
  util/rune.cc util/strutil.cc)
list(TRANSFORM tolm_re2_files PREPEND ${TOLM_RE2_DIR}/)
add_library(tolm_re2 STATIC EXCLUDE_FROM_ALL ${tolm_re2_files})
target_include_directories(tolm_re2 SYSTEM PUBLIC ${TOLM_RE2_DIR})
target_compile_options(tolm_re2 PRIVATE -w)
target_link_libraries(tolm_re2 PRIVATE tolm_compile PUBLIC Threads::Threads)
