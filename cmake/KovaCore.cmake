# Kova::Core: Kova::Kova without what draws and what opens WebSockets. Of static libraries these are not linked; shared
# ones load them when they are needed, so that it is the same library, and a package may leave KovaDrawing and
# KovaSockets out. For the build tree and for the installed package.
if(TARGET Kova::Core)
  return()
endif()
get_target_property(kova_kind Kova::Kova TYPE)
get_target_property(kova_is_imported Kova::Kova IMPORTED)
if(kova_is_imported)
  add_library(Kova::Core INTERFACE IMPORTED)
else()
  add_library(Kova::Core INTERFACE IMPORTED GLOBAL)
endif()
if(kova_kind STREQUAL "SHARED_LIBRARY")
  target_link_libraries(Kova::Core INTERFACE Kova::Kova)
else()
  # By their files, since the targets bring the parts along.
  target_link_libraries(
    Kova::Core INTERFACE $<TARGET_FILE:Kova::Kova> $<TARGET_FILE:Kova::Platform> PkgConfig::utf8proc SQLite::SQLite3
                         OpenSSL::SSL OpenSSL::Crypto CURL::libcurl ZLIB::ZLIB Threads::Threads ${CMAKE_DL_LIBS})
  target_include_directories(
    Kova::Core INTERFACE $<TARGET_PROPERTY:Kova::Kova,INTERFACE_INCLUDE_DIRECTORIES>
                         $<TARGET_PROPERTY:Kova::Platform,INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_features(Kova::Core INTERFACE cxx_std_20)
  if(NOT kova_is_imported)
    add_dependencies(Kova::Core Kova KovaPlatform)
  endif()
endif()
