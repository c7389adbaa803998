# What an installed library consists of: header, both libraries, the CMake package, the pkg-config
# file. The program installs itself.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(FILES include/wbx.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS wbx-codec wbx-codec-static EXPORT wbx-codec
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/wbx-codec)
install(EXPORT wbx-codec NAMESPACE wbx:: FILE wbx-codec-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(wbx-codec-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/wbx-codec-config-version.cmake
        DESTINATION ${package_dir})

foreach(kind LIB INCLUDE)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
    set(wbx_pc_${kind}DIR "${CMAKE_INSTALL_${kind}DIR}")
  else()
    set(wbx_pc_${kind}DIR "\${prefix}/${CMAKE_INSTALL_${kind}DIR}")
  endif()
endforeach()
configure_file(cmake/wbx-codec.pc.in wbx-codec.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/wbx-codec.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
