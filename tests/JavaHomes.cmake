# FERROLINK_JAVA_RUNS: the JDKs that tests of Java programs run on, each as "name|home": the one that
# compiles, named "java", and every other one under /usr/lib/jvm, or those that the cache names.
set(FERROLINK_TEST_JAVA_HOMES "" CACHE STRING
  "Homes of further JDKs to run Java programs of the tests on; empty for all under /usr/lib/jvm")
set(_homes ${FERROLINK_TEST_JAVA_HOMES})
if(NOT _homes)
  file(GLOB _homes LIST_DIRECTORIES true /usr/lib/jvm/*)
endif()
set(FERROLINK_JAVA_RUNS "java|${FERROLINK_JDK_HOME}")
set(_known "${FERROLINK_JDK_HOME}")
foreach(_home IN LISTS _homes)
  file(REAL_PATH "${_home}" _home)
  if(EXISTS "${_home}/bin/java" AND EXISTS "${_home}/lib/server/libjvm.so" AND NOT _home IN_LIST _known)
    get_filename_component(_name "${_home}" NAME)
    list(APPEND FERROLINK_JAVA_RUNS "${_name}|${_home}")
    list(APPEND _known "${_home}")
  endif()
endforeach()
