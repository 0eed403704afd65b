# What hosts and the library link: all layers of this system in one library, and beside it one for each part that a host
# may do without.
foreach(layer IN LISTS platform_layers)
  list(APPEND layer_objects $<TARGET_OBJECTS:platform_${layer}>)
endforeach()

# kova_platform_library(<target> <sources>...): a library that shows namespace platform alone.
function(kova_platform_library target)
  add_library(${target} ${ARGN})
  kova_compile_options(${target})
  kova_keep_loaded(${target})
  kova_link_small(${target})
  target_include_directories(
    ${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kova>)
  # The libraries stand side by side and find each other, wherever they are moved to.
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${kova_interface_version}
                                             BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN")
  if(BUILD_SHARED_LIBS AND UNIX AND NOT APPLE)
    set(symbols ${PROJECT_SOURCE_DIR}/platform/exported-symbols.map)
    target_link_options(${target} PRIVATE LINKER:--version-script=${symbols})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${symbols})
  endif()
endfunction()

kova_platform_library(KovaPlatform ${layer_objects})
add_library(Kova::Platform ALIAS KovaPlatform)
target_link_libraries(KovaPlatform PRIVATE PkgConfig::utf8proc SQLite::SQLite3 OpenSSL::SSL OpenSSL::Crypto ${kova_linked_curl}
                                           ZLIB::ZLIB ${CMAKE_DL_LIBS}
                                   PUBLIC Threads::Threads)

# kova_separate_part(<target> <layer> ENTRY <function> ASKED_BY <layer> DEFINITION <name> LIBRARIES ...): a layer behind a
# seam of the layer that asks for it. That loads the shared library, whose name the definition tells it, when it is first
# needed; a static one is linked into every host of the platform.
function(kova_separate_part target layer)
  cmake_parse_arguments(PART "" "ENTRY;ASKED_BY;DEFINITION" "LIBRARIES" ${ARGN})
  foreach(side IN ITEMS ${layer} ${PART_ASKED_BY})
    target_compile_definitions(platform_${side} PRIVATE PLATFORM_VERSION_OF_PARTS=${kova_entry_version})
  endforeach()
  kova_platform_library(${target} $<TARGET_OBJECTS:platform_${layer}>)
  target_link_libraries(${target} PUBLIC KovaPlatform PRIVATE ${PART_LIBRARIES})
  if(BUILD_SHARED_LIBS)
    target_compile_definitions(platform_${PART_ASKED_BY}
                               PRIVATE ${PART_DEFINITION}="$<TARGET_SONAME_FILE_NAME:${target}>")
  else()
    # Nothing but the entry asks for the archive, and that weakly.
    target_link_options(${target} INTERFACE LINKER:-u,$<$<PLATFORM_ID:Darwin>:_>${PART_ENTRY}_${kova_entry_version})
    target_link_libraries(KovaPlatform INTERFACE ${target})
  endif()
endfunction()

kova_separate_part(KovaDrawing drawing ENTRY platformDrawing ASKED_BY graphics DEFINITION PLATFORM_DRAWING_LIBRARY
                   LIBRARIES PkgConfig::cairo PkgConfig::pangocairo PkgConfig::libpng)
kova_separate_part(KovaSockets sockets ENTRY platformWebSockets ASKED_BY net DEFINITION PLATFORM_SOCKETS_LIBRARY
                   LIBRARIES OpenSSL::SSL OpenSSL::Crypto)

# A device under virtual time, and its user: for tests and demos. No app links it.
kova_platform_library(KovaSimulator $<TARGET_OBJECTS:platform_simulator>)
add_library(Kova::Simulator ALIAS KovaSimulator)
target_link_libraries(KovaSimulator PUBLIC KovaPlatform)
