# What pkg-config tells of an installation: kova, kova-core, kova-c, and kova-qt where Qt is. Static libraries bring along
# what they need; `--static` is for those who link everything else statically, too.

# From where the file lies, so that the prefix can be moved.
file(RELATIVE_PATH prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
set(prefix "\${pcfiledir}/${prefix}")
string(REGEX REPLACE "/$" "" prefix ${prefix})

# kova_pkg_config(<name> <description> [REQUIRES ...] [LIBS ...] [CFLAGS ...])
function(kova_pkg_config name description)
  cmake_parse_arguments(given "" "" "REQUIRES;LIBS;CFLAGS" ${ARGN})
  foreach(field IN ITEMS requires libs cflags)
    string(TOUPPER ${field} list)
    list(JOIN given_${list} " " ${field})
  endforeach()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kova.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endfunction()

set(headers -I\${includedir}/kova)
set(core -lKova -lKovaPlatform)
set(all ${core})
set(c -lKovaC)
if(NOT BUILD_SHARED_LIBS)
  set(core_requires libcurl sqlite3 openssl libutf8proc zlib)
  set(all_requires ${core_requires} cairo pangocairo libpng)
  # Nothing but the entries asks for the parts' archives, and that weakly.
  set(all -Wl,-u,platformDrawing_${kova_entry_version} -Wl,-u,platformWebSockets_${kova_entry_version} -lKova
          -lKovaDrawing -lKovaSockets -lKovaPlatform)
  set(c -lKovaC ${all} -lstdc++ -lm)
  set(c_requires ${all_requires})
endif()

kova_pkg_config(kova "Product analytics for C++ programs" REQUIRES ${all_requires} LIBS ${all} -pthread CFLAGS ${headers} -pthread)
kova_pkg_config(kova-core "Kova without what draws and what opens WebSockets" REQUIRES ${core_requires}
                LIBS ${core} -pthread CFLAGS ${headers} -pthread)
kova_pkg_config(kova-c "Kova for C and every language that calls C" REQUIRES ${c_requires} LIBS ${c} CFLAGS ${headers})
if(TARGET KovaQt)
  kova_pkg_config(kova-qt "Kova for programs written with Qt 6" REQUIRES Qt6Widgets kova LIBS -lKovaQt)
endif()
