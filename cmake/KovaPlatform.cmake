# What hosts and the library link: all layers of this system in one library.
foreach(layer IN LISTS platform_layers)
  list(APPEND layer_objects $<TARGET_OBJECTS:platform_${layer}>)
endforeach()
add_library(KovaPlatform ${layer_objects})
add_library(Kova::Platform ALIAS KovaPlatform)
kova_compile_options(KovaPlatform)
target_link_libraries(KovaPlatform PRIVATE PkgConfig::utf8proc SQLite::SQLite3 OpenSSL::SSL OpenSSL::Crypto CURL::libcurl
                                           PkgConfig::cairo PkgConfig::pangocairo PkgConfig::libpng
                                   PUBLIC Threads::Threads)
target_include_directories(
  KovaPlatform PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kova>)
kova_keep_loaded(KovaPlatform)
set_target_properties(KovaPlatform PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
if(BUILD_SHARED_LIBS AND UNIX AND NOT APPLE)
  set(symbols ${PROJECT_SOURCE_DIR}/platform/exported-symbols.map)
  target_link_options(KovaPlatform PRIVATE LINKER:--version-script=${symbols})
  set_target_properties(KovaPlatform PROPERTIES LINK_DEPENDS ${symbols})
endif()

# A device under virtual time, and its user: for tests and demos. No app links it.
add_library(KovaSimulator $<TARGET_OBJECTS:platform_simulator>)
add_library(Kova::Simulator ALIAS KovaSimulator)
kova_compile_options(KovaSimulator)
target_link_libraries(KovaSimulator PUBLIC KovaPlatform)
set_target_properties(KovaSimulator PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
