# The installed tree: headers, libraries, the CMake package FilterProcessor and a pkg-config file.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/FilterProcessor)

install(FILES include/filter_processor.h host/gexton_sdk.h host/gexton_host.h
        host/gexton_host.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS FilterProcessor GextonSDK EXPORT FilterProcessorTargets)
install(EXPORT FilterProcessorTargets NAMESPACE FilterProcessor:: DESTINATION ${package_dir})
if(FILTER_PROCESSOR_TOOLS)
  install(TARGETS gxfilter)
endif()

configure_package_config_file(cmake/FilterProcessorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/FilterProcessorConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/FilterProcessorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/FilterProcessorConfig.cmake
  ${PROJECT_BINARY_DIR}/FilterProcessorConfigVersion.cmake DESTINATION ${package_dir})

list(TRANSFORM cxx_runtime PREPEND -l OUTPUT_VARIABLE pc_private_libs)
list(JOIN pc_private_libs " " pc_private_libs)
# The way up from the .pc file, so that the installed tree can be moved.
file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/filter_processor.pc.in ${PROJECT_BINARY_DIR}/filter_processor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/filter_processor.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
