# Builds the sources of each library in a few large units (CMAKE_UNITY_BUILD): the preset "macos", which compiles
# everything twice from nothing, takes a third of the time so. What can't share a unit stands here:
# a source with a name of its own file's that another source of its library has too.
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
# Sources that another project wrote to stand by themselves.
set_target_properties(tolm_re2 tolm_minizip PROPERTIES UNITY_BUILD OFF)
