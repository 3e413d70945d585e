# A port of the tree that this file is in:
#   vcpkg install kivmime --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS FEATURE_OPTIONS
  FEATURES
    signing KIVMIME_SIGNING
    tools KIVMIME_BUILD_TOOLS)
string(COMPARE EQUAL "${VCPKG_LIBRARY_LINKAGE}" "dynamic" KIVMIME_SHARED)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    ${FEATURE_OPTIONS}
    -DKIVMIME_SHARED=${KIVMIME_SHARED}
    -DKIVMIME_BUILD_TESTS=OFF
    -DKIVMIME_HTML=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KIVMIME CONFIG_PATH lib/cmake/KIVMIME)
vcpkg_fixup_pkgconfig()
vcpkg_copy_pdbs()
if("tools" IN_LIST FEATURES)
  vcpkg_copy_tools(TOOL_NAMES kivmime AUTO_CLEAN)
endif()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
# No licence has been granted yet.
file(WRITE "${CURRENT_PACKAGES_DIR}/share/${PORT}/copyright" "All rights reserved: no licence has been granted yet.\n")
