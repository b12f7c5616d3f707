# Builds the sources of each library in a few large units (CMAKE_UNITY_BUILD): the packages and the presets that are
# mostly compiled from nothing take a third of the time so. What can't share a unit stands here: a source with a name
# of its own file's that another source of its library has too.
function(tolm_apart target)
  get_target_property(folder ${target} SOURCE_DIR)
  list(TRANSFORM ARGN PREPEND ${folder}/)
  set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

tolm_apart(tolm_bundle BundleWriter.cpp)
tolm_apart(tolm_engine OutputFile.cpp collector_summary.cpp)
tolm_apart(tolm_redact BundleRedactor_write.cpp KnownNames.cpp RedactRules.cpp StandIns.cpp TextRedactor_forms.cpp)
tolm_apart(tolm_authoring_check CommandCheck.cpp PathCheck.cpp Skeleton.cpp StoredNames.cpp)
tolm_apart(tolm_frontend CollectRun.cpp RunGuard.cpp WholeBundle.cpp)
# By itself: programs take its object by name, and it starts the log ahead of every other static object.
tolm_apart(common_diagnostics LoggingStart_${TOLM_HOST}.cpp)
# Tests put calls of their own in the place of one in each of these, which only the linker can: callers stand in
# other units.
tolm_apart(common_base OSInfo_${TOLM_HOST}.cpp)
tolm_apart(common_utility sysutils.cpp)
tolm_apart(common_ipc EventPipe.cpp)

# Helpers of the tests have the same names here and there. Which programs of tests there are, the preset says.
function(tolm_tests_apart target)
  if(TARGET ${target})
    tolm_apart(${target} ${ARGN})
  endif()
endfunction()

tolm_tests_apart(common_utility_test sysutils_process_test.cpp)
tolm_tests_apart(ipc_test ProcessAPI_unix_test.cpp event_test.cpp)
tolm_tests_apart(tolm_test_platform Kernel.cpp)
tolm_tests_apart(tolm_redact_test StandIns_test.cpp TextRedactor_values_test.cpp)

# Sources that another project wrote to stand by themselves.
set_target_properties(tolm_re2 tolm_minizip PROPERTIES UNITY_BUILD OFF)

# In such a unit a source is included, and GCC takes what it includes for a header: a type that only this source
# completes may well have a field of a type that only this source has.
target_compile_options(tolm_compile INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-subobject-linkage>)
