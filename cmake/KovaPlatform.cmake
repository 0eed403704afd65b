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
set_target_properties(KovaPlatform PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
