# What the library is on Windows: undecorated names, nothing needed but the system and its C run-time
# library, notices of loading, a version resource. The import library for mingw is made apart, since
# on 32 bits callers name a function with the bytes of its arguments and the library does not.
set(packaging ${PROJECT_SOURCE_DIR}/packaging/windows)

configure_file(${packaging}/version.rc.in version.rc @ONLY)
target_sources(wbx-codec PRIVATE api/load_notices_windows.cpp ${CMAKE_CURRENT_BINARY_DIR}/version.rc)
target_include_directories(wbx-codec PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_options(wbx-codec PRIVATE -static -Wl,--enable-stdcall-fixup -Wl,--exclude-all-symbols
                                      ${packaging}/wbx-codec.def)
set_target_properties(wbx-codec PROPERTIES PREFIX lib LINK_DEPENDS ${packaging}/wbx-codec.def)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_custom_command(TARGET wbx-codec POST_BUILD VERBATIM
    COMMAND ${CMAKE_DLLTOOL} --kill-at -d ${packaging}/callers-i386.def
            -l $<TARGET_LINKER_FILE:wbx-codec>)
endif()
