# Runs the port of vcpkg with stand-ins for vcpkg's functions, which say what they were asked:  cmake -P try-port.cmake
# That it can be read, and names files that are there, is all that this shows.
foreach(function IN ITEMS vcpkg_check_features vcpkg_find_acquire_program vcpkg_cmake_configure vcpkg_cmake_install vcpkg_cmake_config_fixup
                          vcpkg_fixup_pkgconfig vcpkg_install_copyright)
  cmake_language(EVAL CODE "
    function(${function})
      message(STATUS \"${function} \${ARGN}\")
      foreach(word IN LISTS ARGN)
        if(word MATCHES \"^/\" AND NOT EXISTS \${word})
          message(FATAL_ERROR \"there is no \${word}\")
        endif()
      endforeach()
    endfunction()")
endforeach()
set(PORT kova)
set(CURRENT_PACKAGES_DIR ${CMAKE_CURRENT_LIST_DIR}/../../build/release-work/port)
include(${CMAKE_CURRENT_LIST_DIR}/../../packaging/vcpkg/portfile.cmake)
