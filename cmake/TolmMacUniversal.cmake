# Builds every program for macOS twice, once an architecture, each in a build tree of its own below this
# one, and makes one file of both in bin/. Each is then looked at: tests/macos/check-program.
include(ExternalProject)

set(TOLM_MACOS_SDK "" CACHE PATH "A macOS SDK; empty for the stand-ins in tests/macos/sdk")
find_program(TOLM_LIPO NAMES llvm-lipo-14 llvm-lipo REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(tolm_architectures arm64 x86_64)
foreach(arch IN LISTS tolm_architectures)
  # Each takes the whole machine, so one after the other.
  ExternalProject_Add(macos_${arch}
    SOURCE_DIR ${CMAKE_SOURCE_DIR}
    BINARY_DIR ${CMAKE_BINARY_DIR}/${arch}
    PREFIX ${CMAKE_BINARY_DIR}/steps/${arch}
    CMAKE_ARGS
      --toolchain ${CMAKE_SOURCE_DIR}/cmake/toolchain-macos.cmake
      -DTOLM_MACOS_ARCH=${arch}
      -DTOLM_MACOS_SDK=${TOLM_MACOS_SDK}
      -DCMAKE_BUILD_TYPE=Release
      -DTOLM_WARNINGS_AS_ERRORS=ON
      -DTOLM_BUILD_TESTS=OFF
      -DCMAKE_UNITY_BUILD=ON
      -DCMAKE_UNITY_BUILD_BATCH_SIZE=12
      -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
    INSTALL_COMMAND ""
    BUILD_ALWAYS ON
    USES_TERMINAL_CONFIGURE ON
    USES_TERMINAL_BUILD ON)
  list(APPEND tolm_trees macos_${arch})
endforeach()

# tolm_universal(PROGRAM)   One file of both, at the same place below bin/ as in the build trees.
set(tolm_programs)
function(tolm_universal program)
  get_filename_component(name ${program} NAME)
  get_filename_component(folder bin/${program} DIRECTORY)
  set(slices)
  foreach(arch IN LISTS tolm_architectures)
    list(APPEND slices ${CMAKE_BINARY_DIR}/${arch}/bin/${program})
  endforeach()
  add_custom_target(macos_${name} ALL
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/${folder}
    COMMAND ${TOLM_LIPO} -create ${slices} -output ${CMAKE_BINARY_DIR}/bin/${program}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tests/macos/check-program
      ${CMAKE_BINARY_DIR}/bin/${program} ${CMAKE_SOURCE_DIR}/tests/macos/imports/${name}.txt
    VERBATIM)
  add_dependencies(macos_${name} ${tolm_trees})
endfunction()
tolm_universal(tmtolm)
tolm_universal(TOLM.app/Contents/MacOS/tmtolmui)

# What is beside the program in its application is the same for every architecture.
set(app bin/TOLM.app/Contents)
add_custom_target(macos_application ALL
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_BINARY_DIR}/arm64/${app}/Info.plist ${CMAKE_BINARY_DIR}/${app}/Info.plist
  COMMAND ${CMAKE_COMMAND} -E copy_directory
    ${CMAKE_BINARY_DIR}/arm64/${app}/Resources ${CMAKE_BINARY_DIR}/${app}/Resources
  VERBATIM)
add_dependencies(macos_application macos_tmtolmui)
