# What every target of the project is compiled with, and the one way a layer of the platform is declared.

include(GNUInstallDirs)

string(REPLACE "." "_" kova_entry_version ${PROJECT_VERSION})
# Within a minor version what was linked goes on working.
set(kova_interface_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

# kova_compile_options(<target>): language level, warnings, sanitizers.
function(kova_compile_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  # Found by a relative path, so that what is linked does not depend on the folder it is linked in.
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON BUILD_RPATH_USE_ORIGIN ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wthread-safety)
  else()
    # g++ 12 takes the unused alternatives of a std::variant or std::optional for uninitialised memory, and text + text
    # for a copy onto itself.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition -Wno-maybe-uninitialized -Wno-restrict)
  endif()
  if(KOVA_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(KOVA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KOVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${KOVA_SANITIZE})
    if(KOVA_SANITIZE MATCHES "undefined" AND CMAKE_CURRENT_SOURCE_DIR MATCHES "/(platform|tests/support)(/|$)")
      # It looks at an object of a type that it has not met through a pipe, and takes it for a wrong one where there is
      # no descriptor: a test of the platform makes the first load of a process without any.
      target_compile_options(${target} PRIVATE -fno-sanitize=vptr)
    endif()
  endif()
endfunction()

# kova_keep_loaded(<library>): its threads outlive a dlclose() of whatever brought it in, and so must it.
function(kova_keep_loaded library)
  if(BUILD_SHARED_LIBS AND UNIX AND NOT APPLE)
    target_link_options(${library} PRIVATE LINKER:-z,nodelete)
  endif()
endfunction()

# What is released is small, but quick where each touch and each event comes through. These stand after the options of
# the build type, so they hold.
set(kova_when_released $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
set(kova_section_options $<${kova_when_released}:-ffunction-sections> $<${kova_when_released}:-fdata-sections>
                         $<${kova_when_released}:-fvisibility-inlines-hidden>)
set(kova_quick_options $<${kova_when_released}:-O2>)
set(kova_small_options $<${kova_when_released}:-Os>)

# A table of relocations that is a twentieth as long, where the C library that is built against can read it.
include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)
check_cxx_source_compiles("
  #include <cstdlib>
  #if !defined(__GLIBC__) || !__GLIBC_PREREQ(2, 36)
  #error
  #endif
  int main() {}" KOVA_LOADER_READS_PACKED_RELOCATIONS)
check_linker_flag(CXX LINKER:-z,pack-relative-relocs KOVA_LINKER_PACKS_RELOCATIONS)
set(kova_packed_relocations)
if(KOVA_LOADER_READS_PACKED_RELOCATIONS AND KOVA_LINKER_PACKS_RELOCATIONS)
  set(kova_packed_relocations LINKER:-z,pack-relative-relocs)
endif()

# kova_link_small(<library>): without functions and variables that nothing refers to; and it calls its own functions
# straight, which no other library may replace.
function(kova_link_small library)
  if(APPLE OR NOT UNIX)
    return()
  endif()
  target_link_options(${library} PRIVATE $<${kova_when_released}:LINKER:--gc-sections>
                                         $<${kova_when_released}:LINKER:-Bsymbolic-functions>
                                         "$<${kova_when_released}:${kova_packed_relocations}>")
endfunction()

# kova_platform_layer(<name> [QUICK] SOURCES ... [QUICK_SOURCES ...] [LAYERS ...] [LIBRARIES ...]): one folder of
# platform/ as an object library, so that its tests link it and the layers below it alone. Small, or quick, or
# quick in some of its sources.
function(kova_platform_layer name)
  cmake_parse_arguments(LAYER "QUICK" "" "SOURCES;QUICK_SOURCES;LAYERS;LIBRARIES" ${ARGN})
  add_library(platform_${name} OBJECT ${LAYER_SOURCES} ${LAYER_QUICK_SOURCES})
  kova_compile_options(platform_${name})
  if(LAYER_QUICK)
    target_compile_options(platform_${name} PRIVATE ${kova_section_options} ${kova_quick_options})
  else()
    target_compile_options(platform_${name} PRIVATE ${kova_section_options} ${kova_small_options})
  endif()
  set_source_files_properties(${LAYER_QUICK_SOURCES} PROPERTIES COMPILE_OPTIONS "${kova_quick_options}")
  target_include_directories(platform_${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(platform_${name} PUBLIC ${LAYER_LIBRARIES})
  foreach(below IN LISTS LAYER_LAYERS)
    target_link_libraries(platform_${name} PUBLIC platform_${below})
  endforeach()
endfunction()
