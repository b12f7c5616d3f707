# What a build for macOS on Linux takes from this machine: header-only libraries, and libxml2's headers
# where the SDK has none. Each comes by a folder of its own in the build tree, so that none of this
# machine's other headers is seen.
set(tolm_headers ${CMAKE_BINARY_DIR}/headers)

# tolm_host_headers(NAME TARGET FOLDER)   Lets find_package(NAME) find this machine's FOLDER as TARGET.
function(tolm_host_headers name target folder)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: ${name} comes from this machine's packages.")
  endif()
  file(MAKE_DIRECTORY ${tolm_headers}/${name})
  file(CREATE_LINK /usr/include/${folder} ${tolm_headers}/${name}/${folder} SYMBOLIC)
  file(WRITE ${tolm_headers}/cmake/${name}Config.cmake "
if(NOT TARGET ${target})
  add_library(${target} INTERFACE IMPORTED)
  target_include_directories(${target} INTERFACE ${tolm_headers}/${name})
endif()
")
  set(${name}_DIR ${tolm_headers}/cmake CACHE PATH "Headers of this machine" FORCE)
endfunction()
tolm_host_headers(CLI11 CLI11::CLI11 CLI)
tolm_host_headers(nlohmann_json nlohmann_json::nlohmann_json nlohmann)

# The libraries are the system's own there. zlib's header comes with the compiler.
if(NOT EXISTS ${tolm_sdk}/usr/include/libxml2/libxml/parser.h)
  set(from /usr/include/libxml2/libxml)
  file(GLOB tolm_xml_headers RELATIVE ${from} ${from}/*.h)
  if(NOT tolm_xml_headers)
    message(FATAL_ERROR "${from} is missing: the headers of libxml2 come from this machine's packages.")
  endif()
  foreach(header IN LISTS tolm_xml_headers)
    file(READ ${from}/${header} text)
    # This machine's libxml2 is built with ICU and names its headers; the system's there isn't.
    string(REPLACE "#define LIBXML_ICU_ENABLED" "" text "${text}")
    file(CONFIGURE OUTPUT ${tolm_headers}/libxml2/libxml/${header} CONTENT "${text}" @ONLY)
  endforeach()
  set(LIBXML2_INCLUDE_DIR ${tolm_headers}/libxml2 CACHE PATH "libxml2's headers of this machine")
endif()
set(LIBXML2_LIBRARY ${tolm_sdk}/usr/lib/libxml2.tbd CACHE FILEPATH "The system's own libxml2")
set(ZLIB_LIBRARY ${tolm_sdk}/usr/lib/libz.tbd CACHE FILEPATH "The system's own zlib")
# An empty folder: the header stands where the compiler looks by itself.
file(MAKE_DIRECTORY ${tolm_headers}/zlib)
set(ZLIB_INCLUDE_DIR ${tolm_headers}/zlib CACHE PATH "zlib's header comes with the compiler")
