# The three Debian packages and the files that Debian wants in each of them. The preset "package"
# builds for Debian's folders.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Each package has a first line of its own; only this text, its default, CPack puts before none.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzvevent1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "events and alerts out of an application: library
Carries what an application reports (a fault raised or cleared, a measurement
beyond its threshold) to files, syslog, SNMP managers, webhooks and the
machine's own log. The application never waits for an output.")
# A trigger calls ldconfig. CPack would write scripts for that, were there none of these names; what is
# not there is left out.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/triggers no/postinst no/postrm)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzvevent-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzvevent1 (= ${version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "events and alerts out of an application: development
Headers, CMake package, pkg-config file, documentation and examples for
programs that report their events through libzvevent1.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zvevent)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libzvevent1 (= ${version})")
set(CPACK_DEBIAN_TOOL_DESCRIPTION
  "events and alerts out of an application: command line
The command line for events of the library libzvevent1, and what receivers of
them read by: the MIB of its SNMP traps and the schemas of its JSON documents.")

if(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr)
  return()
endif()
# Of both files Debian wants a copy in the folder of each package.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN ITEMS RUNTIME DEVELOPMENT TOOL)
  string(TOLOWER ${component} lower)
  set(folder share/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME})
  set(changelog ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.Debian)
  configure_file(packaging/debian/changelog.in ${changelog} @ONLY)
  execute_process(COMMAND gzip -9nkf ${changelog} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES packaging/debian/copyright ${changelog}.gz DESTINATION ${folder}
    COMPONENT ${lower})
endforeach()
# Where Net-SNMP's tools look for modules.
file(CREATE_LINK ../../zvevent/mib/ZVEVENT-MIB.txt
  ${CMAKE_CURRENT_BINARY_DIR}/debian/ZVEVENT-MIB.txt SYMBOLIC)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/ZVEVENT-MIB.txt DESTINATION share/snmp/mibs
  COMPONENT tool)
install(CODE [[execute_process(COMMAND_ERROR_IS_FATAL ANY
  COMMAND gzip -9nf "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/man/man1/zvevent.1")]]
  COMPONENT tool)
