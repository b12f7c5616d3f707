# Warnings, hardening, sanitizers and coverage, gathered in one interface target that every target
# of the system links.
include(CheckCXXCompilerFlag)

add_library(tolm_compile INTERFACE)
target_include_directories(tolm_compile INTERFACE ${CMAKE_SOURCE_DIR})

# Log records name the source path: keep it "vpn/..." wherever the build folder lies.
# Compiler launchers may hand the compiler relative paths.
file(RELATIVE_PATH source_from_build "${CMAKE_BINARY_DIR}" "${CMAKE_SOURCE_DIR}/")
target_compile_options(tolm_compile INTERFACE
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${source_from_build}=")

target_compile_options(tolm_compile INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-std=c++20>)
target_compile_options(tolm_compile INTERFACE
  $<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wformat=2 -Wno-format-y2k -Wundef -Wcast-align>)
if(TOLM_WARNINGS_AS_ERRORS)
  target_compile_options(tolm_compile INTERFACE -Werror)
endif()

if(TOLM_SANITIZERS)
  string(REPLACE "," ";" sanitizer_list "${TOLM_SANITIZERS}")
  target_compile_options(tolm_compile INTERFACE
    -fsanitize=${TOLM_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer -g -O1)
  target_link_options(tolm_compile INTERFACE -fsanitize=${TOLM_SANITIZERS})
  if("undefined" IN_LIST sanitizer_list)
    # This check opens a pipe to see whether an address can be read, and takes an object for a wrong one
    # where there is no descriptor left. Tests take all descriptors away on purpose.
    target_compile_options(tolm_compile INTERFACE -fno-sanitize=vptr)
  endif()
else()
  # Fortify needs an optimising build; the debug presets take -Og.
  target_compile_options(tolm_compile INTERFACE $<$<CONFIG:Debug>:-Og>)
  target_compile_options(tolm_compile INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

# GCC 12 sees overlaps and null pointers inside the standard library that aren't there once it
# inlines hard.
target_compile_options(tolm_compile INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict;-Wno-null-dereference>)

target_compile_options(tolm_compile INTERFACE -fstack-protector-strong)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  check_cxx_compiler_flag(-fstack-clash-protection TOLM_HAS_STACK_CLASH)
  if(TOLM_HAS_STACK_CLASH)
    target_compile_options(tolm_compile INTERFACE -fstack-clash-protection)
  endif()
  check_cxx_compiler_flag(-fcf-protection TOLM_HAS_CF_PROTECTION)
  if(TOLM_HAS_CF_PROTECTION)
    target_compile_options(tolm_compile INTERFACE -fcf-protection)
  endif()
  target_link_options(tolm_compile INTERFACE
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,-z,relro,-z,now,-z,noexecstack)
  if(NOT TOLM_SANITIZERS)
    # At every start each symbol is looked for in the libraries in the order in which they are named, and most are
    # this one's: named first, it saves a tenth of a start. A sanitizer's own libraries come first.
    target_link_options(tolm_compile INTERFACE "LINKER:--push-state,--no-as-needed" -lstdc++ "LINKER:--pop-state")
  endif()
endif()

# The fuzzers see the branches of the libraries that they link.
if(TOLM_BUILD_FUZZERS)
  target_compile_options(tolm_compile INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(TOLM_COVERAGE)
  # Threads count lines side by side; without this some counters come out negative, and the report fails.
  target_compile_options(tolm_compile INTERFACE --coverage -fprofile-update=atomic -O0)
  target_link_options(tolm_compile INTERFACE --coverage)
endif()
