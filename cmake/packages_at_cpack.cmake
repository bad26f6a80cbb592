# Run by cpack before it makes packages: what the libraries' package depends on.
set(work ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(MAKE_DIRECTORY ${work}/debian)
file(TOUCH ${work}/debian/control)
execute_process(COMMAND dpkg-shlibdeps --ignore-missing-info -O ${CPACK_FILTER_PROCESSOR_LIBRARIES}
    -l${CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS}
  WORKING_DIRECTORY ${work} OUTPUT_VARIABLE found ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
if(NOT found MATCHES "shlibs:Depends=([^\n]+)")
  message(FATAL_ERROR "dpkg-shlibdeps says nothing of ${CPACK_FILTER_PROCESSOR_LIBRARIES}: ${found}")
endif()
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")
