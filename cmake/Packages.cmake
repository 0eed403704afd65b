# Debian's packages, one a component: `cpack -G DEB` in a build folder configured for /usr, as script/release does.

set(kova_maintainer "The Kova authors <authors@kova.example>")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kova)
set(CPACK_PACKAGE_VENDOR "The Kova authors")
set(CPACK_PACKAGE_CONTACT ${kova_maintainer})
set(CPACK_PACKAGE_HOMEPAGE_URL https://kova.example/)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/src)

# What is loaded when it is needed is asked for by nobody else.
set(kova_curl_package)
if(kova_loaded_curl)
  set(kova_curl_package "libcurl4 | libcurl4t64")
endif()

set(kova_library libkova${kova_interface_version})
set(kova_this_version "(= ${PROJECT_VERSION}-1)")
# The symbols say nothing of the loader that packed relocations need.
set(kova_loader)
if(kova_packed_relocations)
  set(kova_loader "libc6 (>= 2.36)")
endif()

# kova_package(<component> <package> <section> <summary> <description> [DEPENDS ...] [CONTROL ...])
macro(kova_package component package section summary description)
  cmake_parse_arguments(given "" "" "DEPENDS;CONTROL" ${ARGN})
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
  list(JOIN given_DEPENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
  if(given_CONTROL)
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${given_CONTROL})
  endif()
  foreach(file IN ITEMS copyright changelog.Debian.gz)
    if(EXISTS ${PROJECT_BINARY_DIR}/debian/${file})
      install(FILES ${PROJECT_BINARY_DIR}/debian/${file} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
              COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
  endforeach()
endmacro()

set(kova_about "Kova records in an app's process what people do there: touches, actions, field\n\
edits, screens, and events of the app's own. It keeps them on the device and\n\
sends them in the background.\n.\n")

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/debian)
set(debian ${PROJECT_SOURCE_DIR}/cmake/debian)
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(kova_triggers ${PROJECT_BINARY_DIR}/debian/triggers)

set(CPACK_COMPONENTS_ALL)
kova_package(runtime ${kova_library} libs "product analytics in the app's process"
             "${kova_about}This package holds the libraries that programs in C++ run with."
             DEPENDS ${kova_loader} ${kova_curl_package}
             CONTROL ${kova_triggers})
kova_package(c libkovac0 libs "product analytics in the app's process, for C"
             "${kova_about}This package holds the library that programs in C and other languages run with."
             DEPENDS "${kova_library} ${kova_this_version}"
             CONTROL ${kova_triggers} ${debian}/symbols)
kova_package(development libkova-dev libdevel "product analytics in the app's process, development files"
             "${kova_about}This package holds what programs in C++ and C are built with."
             DEPENDS "${kova_library} ${kova_this_version}" "libkovac0 ${kova_this_version}")
if(TARGET KovaQt)
  list(TRANSFORM CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS APPEND ", libkovaqt${kova_interface_version} ${kova_this_version}")
  kova_package(qt libkovaqt${kova_interface_version} libs "product analytics in programs written with Qt"
               "${kova_about}This package holds the library that programs written with Qt 6 run with."
               DEPENDS "${kova_library} ${kova_this_version}"
               CONTROL ${kova_triggers})
  kova_package(tools kova-tools utils "product analytics in unmodified Qt programs"
               "${kova_about}This package holds kova-run, which brings Kova into a Qt 6 program that knows\n\
nothing of it."
               DEPENDS ${kova_loader} ${kova_curl_package})
endif()
include(CPack)
