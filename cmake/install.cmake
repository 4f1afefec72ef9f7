# What `cmake --install` copies, in three components: "runtime" is what a program needs to run,
# "development" what it needs to be built, "tool" the command line with what an operator reads by.
# Every path is relative, and the CMake package and the pkg-config file find the rest from where they
# stand: an installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zvEvent)
set(data_dir ${CMAKE_INSTALL_DATADIR}/zvevent)

install(TARGETS zvEvent EXPORT zvEventTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
add_custom_target(zvevent_installed DEPENDS zvEvent COMMENT "All that is installed")

install(DIRECTORY include/zvEvent DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
install(EXPORT zvEventTargets NAMESPACE zvEvent:: DESTINATION ${package_dir}
  COMPONENT development)
configure_package_config_file(cmake/zvEventConfig.cmake.in zvEventConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_LIBDIR
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(zvEventConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zvEventConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zvEventConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
configure_file(cmake/zvEvent.pc.in zvEvent.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zvEvent.pc
  DESTINATION ${pkgconfig_dir} COMPONENT development)

install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  REGEX "/docs/(api|models)$" EXCLUDE)
install(DIRECTORY docs/mib docs/schema DESTINATION ${data_dir} COMPONENT tool)

if(WIN32)
  add_dependencies(zvevent_installed zvEventMessages)
  install(TARGETS zvEventMessages DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  install(FILES $<TARGET_FILE_DIR:zvEvent>/zvEvent.pdb DESTINATION ${CMAKE_INSTALL_BINDIR}
    COMPONENT development OPTIONAL)
  if(TARGET zvevent_msvc_library)
    add_dependencies(zvevent_installed zvevent_msvc_library)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/src/zvEvent.lib
      DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
endif()

if(TARGET zvevent)
  file(RELATIVE_PATH lib_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(zvevent PROPERTIES INSTALL_RPATH "$ORIGIN/${lib_from_bin}")
  add_dependencies(zvevent_installed zvevent)
  install(TARGETS zvevent DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  if(WIN32)
    target_link_options(zvevent PRIVATE LINKER:--no-insert-timestamp
      $<$<NOT:$<CONFIG:Debug>>:LINKER:--strip-all>)
  else()
    install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES tools/zvevent/completion.bash RENAME zvevent
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  endif()
endif()

# Debian's compiler packages carry the terms of what they put into every Windows binary.
if(MINGW AND CMAKE_CROSSCOMPILING)
  zvevent_compiled_in("mingw-w64" "Start-up code and POSIX threads, in every binary."
    /usr/share/doc/mingw-w64-common/copyright)
  zvevent_compiled_in("libgcc and libstdc++"
    "The compiler's own libraries, in every binary; the GCC Runtime Library Exception applies."
    /usr/share/doc/gcc-mingw-w64-base/copyright)
endif()
set(notices ${CMAKE_CURRENT_BINARY_DIR}/THIRD-PARTY.md)
zvevent_write_notices(${notices})
if(EXISTS ${notices})
  install(FILES ${notices} DESTINATION ${data_dir} COMPONENT tool)
endif()
