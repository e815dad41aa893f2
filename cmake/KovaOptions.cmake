# Shared compiler settings: warnings for our own code, optional sanitizers, ccache when present.
option(KOVA_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(KOVA_FUZZ "Build the libFuzzer targets under tests/fuzz (clang only; make fuzz)" OFF)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(kova_warnings INTERFACE)
target_compile_options(kova_warnings INTERFACE -Wall -Wextra)

# gcc's `undefined` group leaves out float-cast-overflow (a double too large for the integer it is
# converted to), which damaged files and script arguments reach easily: it is named on its own.
set(KOVA_SANITIZERS address,undefined,float-cast-overflow)
if(KOVA_SANITIZE OR KOVA_FUZZ)
  add_compile_options(-fsanitize=${KOVA_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KOVA_SANITIZERS})
  # Keep the system's operator new/delete so the address sanitizer sees every object's heap errors.
  add_compile_definitions(KOVA_SYSTEM_NEW)
endif()
if(KOVA_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "KOVA_FUZZ needs clang (libFuzzer): configure with -DCMAKE_CXX_COMPILER=clang++")
  endif()
  # Coverage for the fuzzer everywhere; only the fuzz targets link libFuzzer's main.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# kova_library(name SOURCES ... DEPS ...): one static library per subsystem.
function(kova_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE kova_warnings ${ARG_PRIVATE_DEPS})
endfunction()
