# tolm_minizip: minizip of zlib's contrib folder as a static library, with the traditional encryption.
#
# Its sources are the distribution's (see scripts/fetch-source) and are kept below build/, never in
# the source tree. What is built is tried out before anything else: packaged minizips are known that
# set the encryption flag, report success, and write archives that no tool can open.
find_package(ZLIB REQUIRED)

set(TOLM_MINIZIP_DIR ${CMAKE_SOURCE_DIR}/build/deps/minizip CACHE PATH
    "Folder contrib/minizip of a zlib release; fetched where it is missing")

if(TOLM_MINIZIP_DIR STREQUAL "${CMAKE_SOURCE_DIR}/build/deps/minizip")
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-source minizip ${TOLM_MINIZIP_DIR}
    RESULT_VARIABLE tolm_fetch_result)
  if(NOT tolm_fetch_result EQUAL 0)
    message(FATAL_ERROR "scripts/fetch-source failed; what it printed stands above.")
  endif()
endif()

set(tolm_minizip_files zip.c unzip.c ioapi.c)
list(TRANSFORM tolm_minizip_files PREPEND ${TOLM_MINIZIP_DIR}/)
foreach(tolm_file IN LISTS tolm_minizip_files)
  if(NOT EXISTS ${tolm_file})
    message(FATAL_ERROR "${tolm_file} is missing: TOLM_MINIZIP_DIR isn't zlib's contrib/minizip folder.")
  endif()
endforeach()

# unzip.c switches its decryption off, whatever is defined: it is built from a copy without these lines.
set(tolm_unzip ${CMAKE_BINARY_DIR}/minizip/unzip.c)
file(READ ${TOLM_MINIZIP_DIR}/unzip.c tolm_unzip_text)
string(REGEX REPLACE "#ifndef NOUNCRYPT[ \t\r\n]+#define NOUNCRYPT[ \t\r\n]+#endif" "" tolm_unzip_text
  "${tolm_unzip_text}")
file(CONFIGURE OUTPUT ${tolm_unzip} CONTENT "${tolm_unzip_text}" @ONLY)
list(TRANSFORM tolm_minizip_files REPLACE "^${TOLM_MINIZIP_DIR}/unzip\\.c$" "${tolm_unzip}")

# zip.c writes an entry's central header to the memory for it, and looks behind that at whether it got any: it
# is built from a copy that looks first, so that a lack of memory is a refused entry and not the program's end.
set(tolm_zip ${CMAKE_BINARY_DIR}/minizip/zip.c)
file(READ ${TOLM_MINIZIP_DIR}/zip.c tolm_zip_text)
string(REGEX REPLACE "(zi->ci\\.central_header = [^;]*;)"
  "\\1 if (zi->ci.central_header == NULL) return ZIP_INTERNALERROR;" tolm_zip_text "${tolm_zip_text}")
file(CONFIGURE OUTPUT ${tolm_zip} CONTENT "${tolm_zip_text}" @ONLY)
list(TRANSFORM tolm_minizip_files REPLACE "^${TOLM_MINIZIP_DIR}/zip\\.c$" "${tolm_zip}")

# Encryption is on unless NOCRYPT is defined. Files are addressed with 64 bits on every host.
set(tolm_minizip_definitions _FILE_OFFSET_BITS=64 _LARGEFILE64_SOURCE)

add_library(tolm_minizip STATIC ${tolm_minizip_files})
target_include_directories(tolm_minizip SYSTEM PUBLIC ${TOLM_MINIZIP_DIR})
target_compile_definitions(tolm_minizip PRIVATE ${tolm_minizip_definitions})
target_compile_options(tolm_minizip PRIVATE -w)
target_link_libraries(tolm_minizip PUBLIC ZLIB::ZLIB)
# Hardening and sanitizers apply to it as to the system's own code.
target_link_libraries(tolm_minizip PRIVATE tolm_compile)

# Writes an encrypted archive with these very sources and opens it with a reader that isn't minizip.
function(tolm_probe_minizip)
  foreach(file IN LISTS tolm_minizip_files)
    file(SHA256 ${file} sum)
    string(APPEND state "${sum} ")
  endforeach()
  if(TOLM_MINIZIP_PROBED STREQUAL state)
    return()
  endif()

  set(folder ${CMAKE_BINARY_DIR}/minizip-probe)
  file(REMOVE_RECURSE ${folder})
  file(MAKE_DIRECTORY ${folder})
  try_compile(built ${folder}/build
    SOURCES ${CMAKE_SOURCE_DIR}/cmake/minizip-probe.c ${tolm_minizip_files}
    COMPILE_DEFINITIONS -D_FILE_OFFSET_BITS=64 -D_LARGEFILE64_SOURCE -I${TOLM_MINIZIP_DIR} -w
    LINK_LIBRARIES ZLIB::ZLIB
    OUTPUT_VARIABLE output
    COPY_FILE ${folder}/probe)
  if(NOT built)
    message(FATAL_ERROR "minizip from ${TOLM_MINIZIP_DIR} doesn't build with this zlib:\n${output}")
  endif()

  set(content "what was encrypted must come back")
  set(password "a probe's password")
  execute_process(COMMAND ${folder}/probe ${folder}/probe.zip ${password} ${content}
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "minizip from ${TOLM_MINIZIP_DIR} can't write an encrypted archive (${result}).")
  endif()

  find_program(TOLM_UNZIP unzip)
  find_program(TOLM_PYTHON3 python3)
  mark_as_advanced(TOLM_UNZIP TOLM_PYTHON3)
  set(readers)
  if(TOLM_UNZIP)
    list(APPEND readers unzip)
    execute_process(COMMAND ${TOLM_UNZIP} -P ${password} -p ${folder}/probe.zip probe.txt
      OUTPUT_VARIABLE unzip_read ERROR_VARIABLE unzip_error TIMEOUT 60)
  endif()
  if(TOLM_PYTHON3)
    list(APPEND readers python3)
    execute_process(COMMAND ${TOLM_PYTHON3} ${CMAKE_SOURCE_DIR}/cmake/minizip-probe.py ${folder}/probe.zip
      ${password}
      OUTPUT_VARIABLE python3_read ERROR_VARIABLE python3_error TIMEOUT 60)
  endif()
  if(NOT readers)
    message(FATAL_ERROR "Encrypted archives can't be tried out: install unzip or python3.")
  endif()
  foreach(reader IN LISTS readers)
    if(NOT ${reader}_read STREQUAL content)
      message(FATAL_ERROR "minizip from ${TOLM_MINIZIP_DIR} encrypts wrongly: ${reader} can't open its "
        "archive with the right password.\n${${reader}_error}")
    endif()
  endforeach()
  message(STATUS "minizip's encrypted archives open with: ${readers}")
  set(TOLM_MINIZIP_PROBED ${state} CACHE INTERNAL "Sums of the minizip sources that were tried out")
endfunction()
# A program for another system can't be run here; the same sources are tried out in the builds for this one.
if(NOT CMAKE_CROSSCOMPILING)
  tolm_probe_minizip()
endif()
