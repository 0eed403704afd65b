# What `cmake --install` lays down, so that a project elsewhere says find_package(Kova) and links Kova::Kova:
#
#   <lib>/                 the libraries Kova and KovaPlatform (on Apple systems Kova.framework, with its headers inside),
#                          KovaDrawing and KovaSockets, which the platform loads when something is drawn or a WebSocket
#                          is opened, KovaC for hosts in C and other languages, KovaSimulator for the tests of a host,
#                          and where Qt is, KovaQt
#   <lib>/cmake/Kova/      the package
#   <include>/kova/Kova/   what a host app includes
#   <include>/kova/platform/<layer>/   what those headers, and hosts that set up the platform, include in turn

include(CMakePackageConfigHelpers)

set(kova_header_folder ${CMAKE_INSTALL_INCLUDEDIR}/kova)
set(kova_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Kova)

file(GLOB kova_public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/Kova/*.h)
list(FILTER kova_public_headers EXCLUDE REGEX KovaQt)
set_target_properties(Kova PROPERTIES PUBLIC_HEADER "${kova_public_headers}")
set_target_properties(KovaPlatform PROPERTIES EXPORT_NAME Platform)
set_target_properties(KovaDrawing PROPERTIES EXPORT_NAME Drawing)
set_target_properties(KovaSockets PROPERTIES EXPORT_NAME Sockets)
set_target_properties(KovaSimulator PROPERTIES EXPORT_NAME Simulator)
set_target_properties(KovaC PROPERTIES EXPORT_NAME C)

# The libraries stand side by side and find each other, wherever the prefix is moved to.
if(NOT APPLE)
  set_target_properties(Kova KovaC KovaSimulator PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

# Nobody links the shared parts, which are loaded when they are needed: a package may leave them out.
if(BUILD_SHARED_LIBS)
  install(TARGETS KovaDrawing KovaSockets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
  set(kova_parts KovaDrawing KovaSockets)
endif()

install(
  TARGETS Kova KovaPlatform ${kova_parts} KovaC KovaSimulator
  EXPORT KovaTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FRAMEWORK DESTINATION ${CMAKE_INSTALL_LIBDIR}
  PUBLIC_HEADER DESTINATION ${kova_header_folder}/Kova
  INCLUDES DESTINATION ${kova_header_folder})

# Where Qt is: the library for hosts written with it, the plugin, and kova-run, which finds the plugin from where it is.
if(TARGET KovaQt)
  set_target_properties(KovaQt PROPERTIES EXPORT_NAME Qt INSTALL_RPATH "$ORIGIN"
                                          PUBLIC_HEADER ${PROJECT_SOURCE_DIR}/include/Kova/KovaQt.h)
  install(
    TARGETS KovaQt
    EXPORT KovaQtTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    PUBLIC_HEADER DESTINATION ${kova_header_folder}/Kova
    INCLUDES DESTINATION ${kova_header_folder})
  install(EXPORT KovaQtTargets NAMESPACE Kova:: DESTINATION ${kova_package_folder})
  install(TARGETS KovaQtPlugin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kova/plugins/generic)
  install(PROGRAMS ${PROJECT_BINARY_DIR}/qt/kova-run DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/platform/
  DESTINATION ${kova_header_folder}/platform
  FILES_MATCHING
  PATTERN "*.h"
  PATTERN "internal" EXCLUDE
  PATTERN "qt" EXCLUDE)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(EXPORT KovaTargets NAMESPACE Kova:: DESTINATION ${kova_package_folder})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KovaConfig.cmake.in ${PROJECT_BINARY_DIR}/KovaConfig.cmake
                              INSTALL_DESTINATION ${kova_package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KovaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KovaConfig.cmake ${PROJECT_BINARY_DIR}/KovaConfigVersion.cmake
        DESTINATION ${kova_package_folder})
