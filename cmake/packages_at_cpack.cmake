# Run by cpack before it makes packages: what the libraries' package depends on.
set(work ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(MAKE_DIRECTORY ${work}/debian)
file(TOUCH ${work}/debian/control)
execute_process(COMMAND dpkg-shlibdeps --ignore-missing-info -O ${CPACK_FILTER_PROCESSOR_LIBRARIES}
    -l${CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS}
  WORKING_DIRECTORY ${work} OUTPUT_VARIABLE found ERROR_VARIABLE said RESULT_VARIABLE result)
# It warns of the library that is in no package yet, which is the one being packed.
if(NOT result EQUAL 0 OR NOT found MATCHES "shlibs:Depends=([^\n]+)")
  message(FATAL_ERROR "dpkg-shlibdeps does not tell what ${CPACK_FILTER_PROCESSOR_LIBRARIES} depend on "
    "(${result}): ${found}${said}")
endif()
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")
