# The installed tree, in parts that can be installed one by one (`cmake --install BUILD --component PART`):
#   libraries    the plug-in and the reference host
#   development  headers, what the linker takes, the CMake package FilterProcessor, pkg-config files
#   tools        gxfilter, its manual pages, what bash and zsh complete
#   presets      the chains that come with gxfilter and the elements of GStreamer
#   gstreamer    the elements of GStreamer
#   python       the Python package; only where it is asked for: users take its wheel
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/FilterProcessor)
set(FILTER_PROCESSOR_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions CACHE STRING
  "Where zsh looks for completions; share/zsh/site-functions but for Debian")
set(installed_libraries FilterProcessor GextonSDK)
if(FILTER_PROCESSOR_PACKAGES)
  list(APPEND installed_libraries FilterProcessor_static GextonSDK_static)
endif()
install(TARGETS ${installed_libraries} EXPORT FilterProcessorTargets
  RUNTIME COMPONENT libraries
  LIBRARY COMPONENT libraries NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)

install(FILES include/filter_processor.h host/gexton_sdk.h host/gexton_host.h
        host/gexton_host.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT FilterProcessorTargets NAMESPACE FilterProcessor:: DESTINATION ${package_dir}
  COMPONENT development)
configure_package_config_file(cmake/FilterProcessorConfig.cmake.in
  ${PROJECT_BINARY_DIR}/FilterProcessorConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/FilterProcessorConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/FilterProcessorConfig.cmake
  ${PROJECT_BINARY_DIR}/FilterProcessorConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

list(TRANSFORM cxx_runtime PREPEND -l OUTPUT_VARIABLE pc_private_libs)
list(JOIN pc_private_libs " " pc_private_libs)
# The way up from the .pc file, so that the installed tree can be moved; a system's packages stay in their place.
file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(pc_prefix "\${pcfiledir}/${pc_to_prefix}")
if(FILTER_PROCESSOR_PACKAGES)
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
endif()
foreach(name IN ITEMS filter_processor gexton_sdk)
  configure_file(cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(FILTER_PROCESSOR_TOOLS OR FILTER_PROCESSOR_GSTREAMER)
  install(DIRECTORY presets DESTINATION ${CMAKE_INSTALL_DATADIR}/filter_processor
    COMPONENT presets FILES_MATCHING PATTERN *.json)
endif()
if(FILTER_PROCESSOR_TOOLS)
  install(TARGETS gxfilter RUNTIME COMPONENT tools)
endif()
if(TARGET manual)
  set(manual ${PROJECT_BINARY_DIR}/share/gxfilter_manual)
  install(DIRECTORY ${manual}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${manual}/bash/gxfilter
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${manual}/zsh/_gxfilter
    DESTINATION ${FILTER_PROCESSOR_ZSH_DIR} COMPONENT tools)
endif()
if(FILTER_PROCESSOR_GSTREAMER)
  install(TARGETS gstfilterprocessor
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0 COMPONENT gstreamer)
endif()
if(FILTER_PROCESSOR_PYTHON)
  # As Debian's Python finds it; the libraries and the presets are those of the rest of the tree.
  set(python_dir lib/python3/dist-packages)
  set(python_links ${PROJECT_BINARY_DIR}/python_links)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/python/filter_processor DESTINATION ${python_dir}
    COMPONENT python EXCLUDE_FROM_ALL
    PATTERN __pycache__ EXCLUDE PATTERN presets EXCLUDE PATTERN *.so* EXCLUDE)
  install(TARGETS filter_processor_python LIBRARY DESTINATION ${python_dir}/filter_processor
    COMPONENT python EXCLUDE_FROM_ALL)
  file(RELATIVE_PATH to_libraries /${python_dir}/filter_processor /${CMAKE_INSTALL_LIBDIR})
  file(RELATIVE_PATH to_data /${python_dir}/filter_processor /${CMAKE_INSTALL_DATADIR})
  set(plugin_file libFilterProcessor.so.${PROJECT_VERSION_MAJOR})
  file(MAKE_DIRECTORY ${python_links})
  file(CREATE_LINK ${to_libraries}/${plugin_file} ${python_links}/${plugin_file} SYMBOLIC)
  file(CREATE_LINK ${to_data}/filter_processor/presets ${python_links}/presets SYMBOLIC)
  install(FILES ${python_links}/${plugin_file} ${python_links}/presets
    DESTINATION ${python_dir}/filter_processor COMPONENT python EXCLUDE_FROM_ALL)
  if(FILTER_PROCESSOR_PACKAGES)
    install(DIRECTORY ${python_metadata} DESTINATION ${python_dir} COMPONENT python EXCLUDE_FROM_ALL)
  endif()
endif()
