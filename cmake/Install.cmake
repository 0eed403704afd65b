# What `cmake --install` lays down, so that a project elsewhere says find_package(Kova) and links Kova::Kova:
#
#   <lib>/                 the libraries Kova and KovaPlatform (on Apple systems Kova.framework, with its headers inside),
#                          KovaDrawing and KovaSockets, which the platform loads when something is drawn or a WebSocket
#                          is opened, KovaC for hosts in C and other languages, KovaSimulator for the tests of a host,
#                          and where Qt is, KovaQt
#   <lib>/cmake/Kova/      the package
#   <lib>/pkgconfig/       the same for pkg-config
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
  set_target_properties(Kova KovaC PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

# Of a component each: what programs run with, what they are built with, the same for C and Qt, and programs.
set(kova_development DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# kova_install(<export> <component> <targets>...)
function(kova_install export component)
  install(
    TARGETS ${ARGN}
    EXPORT ${export}
    ARCHIVE ${kova_development}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} NAMELINK_COMPONENT development
    FRAMEWORK DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
    PUBLIC_HEADER DESTINATION ${kova_header_folder}/Kova COMPONENT development
    INCLUDES DESTINATION ${kova_header_folder})
endfunction()

# Nobody links the shared parts, which are loaded when they are needed: a package may leave them out.
if(BUILD_SHARED_LIBS)
  install(TARGETS KovaDrawing KovaSockets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_SKIP)
else()
  set(kova_parts KovaDrawing KovaSockets)
endif()
kova_install(KovaTargets runtime Kova KovaPlatform KovaSimulator ${kova_parts})
kova_install(KovaTargets c KovaC)

# Where Qt is: the library for hosts written with it, the plugin, and kova-run, which finds the plugin from where it is.
if(TARGET KovaQt)
  set_target_properties(KovaQt PROPERTIES EXPORT_NAME Qt INSTALL_RPATH "$ORIGIN"
                                          PUBLIC_HEADER ${PROJECT_SOURCE_DIR}/include/Kova/KovaQt.h)
  kova_install(KovaQtTargets qt KovaQt)
  install(EXPORT KovaQtTargets NAMESPACE Kova:: DESTINATION ${kova_package_folder} COMPONENT development)
  install(TARGETS KovaQtPlugin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kova/plugins/generic COMPONENT tools)
  install(PROGRAMS ${PROJECT_BINARY_DIR}/qt/kova-run DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/platform/
  DESTINATION ${kova_header_folder}/platform
  COMPONENT development
  FILES_MATCHING
  PATTERN "*.h"
  PATTERN "internal" EXCLUDE
  PATTERN "qt" EXCLUDE
  PATTERN "drawing" EXCLUDE
  PATTERN "sockets" EXCLUDE)

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT development)
install(EXPORT KovaTargets NAMESPACE Kova:: DESTINATION ${kova_package_folder} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KovaConfig.cmake.in ${PROJECT_BINARY_DIR}/KovaConfig.cmake
                              INSTALL_DESTINATION ${kova_package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KovaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KovaConfig.cmake ${PROJECT_BINARY_DIR}/KovaConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/KovaCore.cmake
        DESTINATION ${kova_package_folder} COMPONENT development)
include(${PROJECT_SOURCE_DIR}/cmake/PkgConfig.cmake)
if(PROJECT_IS_TOP_LEVEL)
  include(${PROJECT_SOURCE_DIR}/cmake/Packages.cmake)
endif()
