# Not run where this was written: vcpkg could not be had there.
# The source archive that scripts/package.sh makes; packaging/vcpkg/make_port.sh fills in its place and digest.
vcpkg_download_distfile(archive
  URLS "@URL@"
  FILENAME "filter_processor-${VERSION}.tar.gz"
  SHA512 @SHA512@)
vcpkg_extract_source_archive(source ARCHIVE "${archive}")

vcpkg_cmake_configure(SOURCE_PATH "${source}"
  OPTIONS -DFILTER_PROCESSOR_TOOLS=OFF -DFILTER_PROCESSOR_TESTS=OFF -DFILTER_PROCESSOR_BENCH=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME FilterProcessor CONFIG_PATH lib/cmake/FilterProcessor)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${source}/LICENSE")
