# Shared compiler settings: warnings for our own code, optional sanitizers, ccache when present.
option(KOVA_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_library(kova_warnings INTERFACE)
target_compile_options(kova_warnings INTERFACE -Wall -Wextra)

if(KOVA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
  # Keep the system's operator new/delete so the address sanitizer sees every object's heap errors.
  add_compile_definitions(KOVA_SYSTEM_NEW)
endif()

# kova_library(name SOURCES ... DEPS ...): one static library per subsystem.
function(kova_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE kova_warnings ${ARG_PRIVATE_DEPS})
endfunction()
