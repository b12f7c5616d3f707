# Builds for macOS on Linux: one architecture a build tree (TOLM_MACOS_ARCH: arm64 or x86_64).
#
# Compiler and linker come from scripts/fetch-zig, with that system's C library headers and C++ library.
# What they lack comes from an SDK: TOLM_MACOS_SDK, which is the folder of stand-ins where none is given.
set(CMAKE_SYSTEM_NAME Darwin)
set(TOLM_MACOS_ARCH arm64 CACHE STRING "Architecture of a build for macOS: arm64 or x86_64")
set(TOLM_MACOS_SDK "" CACHE PATH "A macOS SDK; empty for the stand-ins in tests/macos/sdk")
set(TOLM_MACOS_MINIMUM 11.0)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TOLM_MACOS_ARCH TOLM_MACOS_SDK)

get_filename_component(tolm_source ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(tolm_sdk ${TOLM_MACOS_SDK})
if(NOT tolm_sdk)
  set(tolm_sdk ${tolm_source}/tests/macos/sdk)
endif()

if(NOT DEFINED CACHE{TOLM_ZIG_FETCHED})
  execute_process(COMMAND ${tolm_source}/scripts/fetch-zig ${tolm_source}/build/deps/zig
    RESULT_VARIABLE tolm_zig_result)
  if(NOT tolm_zig_result EQUAL 0)
    message(FATAL_ERROR "scripts/fetch-zig failed; what it printed stands above.")
  endif()
  set(TOLM_ZIG_FETCHED TRUE CACHE INTERNAL "The compiler for macOS is in place")
endif()

set(CMAKE_SYSTEM_PROCESSOR ${TOLM_MACOS_ARCH})
set(tolm_target x86_64-macos.${TOLM_MACOS_MINIMUM})
if(TOLM_MACOS_ARCH STREQUAL "arm64")
  set(tolm_target aarch64-macos.${TOLM_MACOS_MINIMUM})
endif()

set(CMAKE_C_COMPILER ${tolm_source}/cmake/macos/cc)
set(CMAKE_CXX_COMPILER ${tolm_source}/cmake/macos/c++)
set(CMAKE_OBJCXX_COMPILER ${tolm_source}/cmake/macos/c++)
foreach(tool AR:ar RANLIB:ranlib INSTALL_NAME_TOOL:install-name-tool NM:nm OBJDUMP:objdump STRIP:strip)
  string(REPLACE ":" ";" tool ${tool})
  list(GET tool 0 variable)
  list(GET tool 1 program)
  find_program(CMAKE_${variable} NAMES llvm-${program}-14 llvm-${program} REQUIRED)
endforeach()

# The compiler checks for undefined behaviour by itself in builds without optimisation; that is for the
# presets with sanitizers. The SDK's C headers stand behind the compiler's own.
# Optimised also where CMake tries something out: the compiler makes its C++ library once for each kind of build.
set(tolm_flags "-target ${tolm_target} -O2 -fno-sanitize=undefined")
string(APPEND tolm_flags " -iframework ${tolm_sdk}/System/Library/Frameworks")
string(APPEND tolm_flags " -idirafter ${tolm_sdk}/usr/include")
set(CMAKE_C_FLAGS_INIT ${tolm_flags})
set(CMAKE_CXX_FLAGS_INIT ${tolm_flags})
set(CMAKE_OBJCXX_FLAGS_INIT "${tolm_flags} -fno-objc-arc")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-F${tolm_sdk}/System/Library/Frameworks -L${tolm_sdk}/usr/lib")

# Nothing of this machine's libraries and headers may be found by chance.
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_FIND_ROOT_PATH ${tolm_sdk})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
