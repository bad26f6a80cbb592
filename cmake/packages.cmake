# Debian's packages, made by `cpack -G DEB` of the parts that cmake/install.cmake has (scripts/package.sh).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME filterprocessor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# CPack would put the project's own in front of every package's.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "FilterProcessor packagers <packagers@filterprocessor.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SOURCE filterprocessor)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(debian_files ${PROJECT_SOURCE_DIR}/packaging/debian)

# The changelog as Debian writes it, dated as the sources are; without their date it could not be made twice.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  message(FATAL_ERROR "FILTER_PROCESSOR_PACKAGES takes SOURCE_DATE_EPOCH, the date of the sources: "
    "scripts/package.sh sets it")
endif()
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(debian_docs ${PROJECT_BINARY_DIR}/debian)
file(MAKE_DIRECTORY ${debian_docs})
execute_process(COMMAND ${Python3_EXECUTABLE} ${debian_files}/make_changelog.py
    ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_VERSION} ${CPACK_PACKAGE_CONTACT} ${debian_docs}/changelog
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9nf ${debian_docs}/changelog COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  CHANGELOG.md ${debian_files}/make_changelog.py)

# package(<component> <name> SECTION <section> SYNOPSIS <half a line> DESCRIPTION <sentences>
#         [DEPENDS ...] [RECOMMENDS ...] [SUGGESTS ...] [CONTROL <file>...])
function(package component name)
  cmake_parse_arguments(deb "" "SECTION;SYNOPSIS;DESCRIPTION;ARCHITECTURE" "DEPENDS;RECOMMENDS;SUGGESTS;CONTROL"
    ${ARGN})
  string(TOUPPER ${component} upper)
  foreach(list IN ITEMS DEPENDS RECOMMENDS SUGGESTS)
    list(JOIN deb_${list} ", " deb_${list})
  endforeach()
  macro(set_of_package variable value)
    set(CPACK_DEBIAN_${upper}_${variable} "${value}" PARENT_SCOPE)
  endmacro()
  set_of_package(PACKAGE_NAME ${name})
  set_of_package(PACKAGE_SECTION ${deb_SECTION})
  set_of_package(DESCRIPTION "${deb_SYNOPSIS}\n${deb_DESCRIPTION}")
  set_of_package(PACKAGE_DEPENDS "${deb_DEPENDS}")
  set_of_package(PACKAGE_RECOMMENDS "${deb_RECOMMENDS}")
  set_of_package(PACKAGE_SUGGESTS "${deb_SUGGESTS}")
  set_of_package(PACKAGE_CONTROL_EXTRA "${deb_CONTROL}")
  if(deb_ARCHITECTURE)
    set_of_package(PACKAGE_ARCHITECTURE ${deb_ARCHITECTURE})
  endif()
  install(FILES ${debian_docs}/changelog.gz ${debian_files}/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(CPACK_COMPONENTS_ALL)
set(same_library "libfilterprocessor${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(same_presets "filterprocessor-presets (= ${PROJECT_VERSION})")
# What all descriptions end with.
set(about "FilterProcessor removes speckles, edge strips and false depth, smooths in
space and time, fills holes, converts disparity to depth and resizes, with
the same bits at every instruction level.")

configure_file(${debian_files}/shlibs.in ${debian_docs}/shlibs @ONLY)
package(libraries libfilterprocessor${PROJECT_VERSION_MAJOR}
  SECTION libs
  SYNOPSIS "depth-image filters for camera hosts (shared libraries)"
  DESCRIPTION "${about}\n.\nThis package holds the plug-in that hosts load and the reference host that
it calls."
  CONTROL ${debian_docs}/shlibs ${debian_files}/triggers)
# CPack would have ldconfig called by scripts, where Debian has a trigger; it leaves libraries alone of which it is
# not asked what they depend on. packages_at_cpack.cmake asks.
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS OFF)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/packages_at_cpack.cmake)
foreach(library IN ITEMS FilterProcessor GextonSDK)
  list(APPEND CPACK_FILTER_PROCESSOR_LIBRARIES
    ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/lib${library}.so.${PROJECT_VERSION})
endforeach()

package(development libfilterprocessor-dev
  SECTION libdevel
  SYNOPSIS "depth-image filters for camera hosts (development files)"
  DESCRIPTION "${about}\n.\nThis package holds headers, archives, a CMake package and pkg-config
files."
  DEPENDS ${same_library})

package(presets filterprocessor-presets
  SECTION misc
  SYNOPSIS "depth-image filters for camera hosts (presets)"
  DESCRIPTION "${about}\n.\nThis package holds chains of filters that gxfilter, the elements of
GStreamer and the Python module take by name."
  ARCHITECTURE all)

if(FILTER_PROCESSOR_TOOLS)
  package(tools gxfilter
    SECTION graphics
    SYNOPSIS "apply depth-image filters to recordings"
    DESCRIPTION "gxfilter takes depth recordings (PNG, PGM, NumPy, Matroska, MCAP, ROS 1
bags) through chains of filters, compares results with the truth and checks
plug-ins.\n.\n${about}"
    DEPENDS ${same_library} ${same_presets})
endif()
if(FILTER_PROCESSOR_GSTREAMER)
  package(gstreamer gstreamer1.0-filterprocessor
    SECTION video
    SYNOPSIS "depth-image filters as elements of GStreamer"
    DESCRIPTION "An element for each filter, one for chains of them and one that colours
depth.\n.\n${about}"
    DEPENDS ${same_library} ${same_presets})
endif()
if(FILTER_PROCESSOR_PYTHON)
  foreach(script IN ITEMS postinst prerm)
    file(COPY ${debian_files}/python/${script} DESTINATION ${debian_docs}/python
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
  math(EXPR next_python "${Python3_VERSION_MINOR} + 1")
  package(python python3-filterprocessor
    SECTION python
    SYNOPSIS "depth-image filters for NumPy arrays and recordings"
    DESCRIPTION "The Python module filter_processor: a class for each filter, chains,
recordings, pictures.\n.\n${about}"
    DEPENDS "python3 (<< 3.${next_python})" "python3 (>= 3.${Python3_VERSION_MINOR}~)" "python3:any" python3-numpy
      ${same_library} ${same_presets}
    SUGGESTS python3-distributed
    CONTROL ${debian_docs}/python/postinst ${debian_docs}/python/prerm)
endif()

include(CPack)
