# An overlay port: it builds the sources that it lies in, without the tool.
get_filename_component(SOURCE_PATH "${CURRENT_PORT_DIR}/../../.." ABSOLUTE)

# The library is a shared one, whatever the triplet says of others.
vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DZVEVENT_TESTS=OFF -DZVEVENT_EXAMPLES=OFF -DZVEVENT_TOOLS=OFF)
vcpkg_cmake_install()
vcpkg_copy_pdbs()
vcpkg_cmake_config_fixup(PACKAGE_NAME zvEvent CONFIG_PATH lib/cmake/zvEvent)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
file(WRITE "${CURRENT_PACKAGES_DIR}/share/${PORT}/copyright"
  "The zvEvent authors. No licence has been chosen yet.\n")
