# What an installed library consists of: header, both libraries, the CMake package, the pkg-config
# file and the licence. The program installs itself. All of it works wherever the prefix lies.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(FILES include/wbx.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/wbx-codec)
install(TARGETS wbx-codec wbx-codec-static EXPORT wbx-codec
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/wbx-codec)
install(EXPORT wbx-codec NAMESPACE wbx:: FILE wbx-codec-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(wbx-codec-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/wbx-codec-config-version.cmake
        DESTINATION ${package_dir})

# The pkg-config file finds the prefix from where it lies itself.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${pc_dir}")
  set(wbx_pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/prefix/${pc_dir}" "/prefix")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(wbx_pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(kind LIB INCLUDE)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}DIR}")
    set(wbx_pc_${kind}DIR "${CMAKE_INSTALL_${kind}DIR}")
  else()
    set(wbx_pc_${kind}DIR "\${prefix}/${CMAKE_INSTALL_${kind}DIR}")
  endif()
endforeach()
# The loader looks by itself only where the system keeps its libraries, and under /usr/local only
# once somebody has run ldconfig.
set(wbx_pc_rpath "")
if(UNIX AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(wbx_pc_rpath " -Wl,-rpath,\${libdir}")
endif()
set(wbx_pc_private "")
foreach(library IN LISTS wbx_cxx_runtime)
  string(APPEND wbx_pc_private " -l${library}")
endforeach()
configure_file(cmake/wbx-codec.pc.in wbx-codec.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/wbx-codec.pc DESTINATION ${pc_dir})
