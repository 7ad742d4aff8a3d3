# With FERROLINK_PACKAGING: the files that only packages have. Built by the target package-files.
# Dates come from SOURCE_DATE_EPOCH, so that two builds of one commit are equal.
find_program(FERROLINK_HELP2MAN help2man REQUIRED)
find_program(FERROLINK_JAVADOC javadoc HINTS "${FERROLINK_JDK_HOME}/bin" REQUIRED NO_DEFAULT_PATH)
set(FERROLINK_PACKAGE_REVISION 1 CACHE STRING "The revision in the version of the Debian packages")
set(FERROLINK_MAINTAINER "Ferrolink maintainers <maintainers@ferrolink.example>" CACHE STRING
  "The maintainer that the Debian packages name")

set(_files "${PROJECT_BINARY_DIR}/package-files")
set(_made)
set(_packages libferrolink libferrolink-java libferrolink-dev ferrolink-tools ferrolink-doc)
set(_archive "ferrolink-${PROJECT_VERSION}")
string(TIMESTAMP _archive_date "%Y-%m-%dT%H:%M:%SZ" UTC)
file(MAKE_DIRECTORY "${_files}")

# The archives, with fixed dates and in a fixed order.
set(_repack bash "${PROJECT_SOURCE_DIR}/packaging/java-archive" "${Java_JAR_EXECUTABLE}" "${_archive_date}")
file(GLOB_RECURSE _java_sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/companions/java/src/*.java")
add_custom_command(OUTPUT "${_files}/${_archive}.jar"
  COMMAND ${_repack} "${_files}/${_archive}.jar" "${FERROLINK_JVM_DIR}/FerrolinkJvmRuntime.jar"
  DEPENDS FerrolinkJvmRuntime packaging/java-archive VERBATIM)
add_custom_command(OUTPUT "${_files}/${_archive}-sources.jar"
  COMMAND ${_repack} "${_files}/${_archive}-sources.jar" "${PROJECT_SOURCE_DIR}/companions/java/src"
  DEPENDS ${_java_sources} packaging/java-archive VERBATIM)
add_custom_command(OUTPUT "${_files}/${_archive}-javadoc.jar"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${_files}/javadoc"
  COMMAND "${FERROLINK_JAVADOC}" -quiet -notimestamp -Xdoclint:all -Werror -encoding UTF-8
    --release 11 -exclude com.ferrolink.core.objects:com.ferrolink.core.protocol
    -windowtitle "Ferrolink ${PROJECT_VERSION}" -d "${_files}/javadoc"
    -sourcepath "${PROJECT_SOURCE_DIR}/companions/java/src" -subpackages com.ferrolink
  COMMAND ${_repack} "${_files}/${_archive}-javadoc.jar" "${_files}/javadoc"
  DEPENDS ${_java_sources} packaging/java-archive VERBATIM)
list(APPEND _made "${_files}/${_archive}.jar" "${_files}/${_archive}-sources.jar" "${_files}/${_archive}-javadoc.jar")

foreach(_pom_version "${PROJECT_VERSION}" debian)
  set(FERROLINK_POM_VERSION "${_pom_version}")
  configure_file(packaging/pom.xml.in "${_files}/ferrolink-${_pom_version}.pom" @ONLY)
endforeach()

# A page of the manual for each program, from its --help. The page of the tool has its subcommands as well.
add_custom_command(OUTPUT "${_files}/subcommands.h2m"
  COMMAND sh "${PROJECT_SOURCE_DIR}/packaging/man/subcommands.sh" $<TARGET_FILE:ferrolink> > "${_files}/subcommands.h2m"
  DEPENDS ferrolink packaging/man/subcommands.sh VERBATIM)
foreach(_program IN LISTS _programs)
  set(_more)
  set(_include_more)
  if(_program STREQUAL ferrolink)
    set(_more "${_files}/subcommands.h2m")
    set(_include_more "--include=${_more}")
  endif()
  add_custom_command(OUTPUT "${_files}/${_program}.1.gz"
    COMMAND "${FERROLINK_HELP2MAN}" --no-info --section=1 --manual=Ferrolink
      "--source=Ferrolink ${PROJECT_VERSION}" ${_include_more}
      "--include=${PROJECT_SOURCE_DIR}/packaging/man/${_program}.h2m" "--output=${_files}/${_program}.1" "$<TARGET_FILE:${_program}>"
    COMMAND gzip -9nf "${_files}/${_program}.1"
    DEPENDS ${_program} "packaging/man/${_program}.h2m" ${_more} VERBATIM)
  list(APPEND _made "${_files}/${_program}.1.gz")
  install(FILES "${_files}/${_program}.1.gz" DESTINATION share/man/man1 COMPONENT ferrolink-tools)
endforeach()

# What Debian wants in each package: copyright and changelogs.
string(TIMESTAMP FERROLINK_PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(FERROLINK_PACKAGE_VERSION "${PROJECT_VERSION}-${FERROLINK_PACKAGE_REVISION}")
configure_file(packaging/debian/changelog.in "${_files}/changelog.Debian" @ONLY)
add_custom_command(OUTPUT "${_files}/changelog.gz" "${_files}/changelog.Debian.gz"
  COMMAND gzip -9nc "${PROJECT_SOURCE_DIR}/CHANGELOG.md" > "${_files}/changelog.gz"
  COMMAND gzip -9nc "${_files}/changelog.Debian" > "${_files}/changelog.Debian.gz"
  DEPENDS CHANGELOG.md "${_files}/changelog.Debian" VERBATIM)
list(APPEND _made "${_files}/changelog.gz" "${_files}/changelog.Debian.gz")
add_custom_target(package-files ALL DEPENDS ${_made})

set(_java_component COMPONENT libferrolink-java)
if(FERROLINK_LAYOUT STREQUAL "tree")
  install(FILES "${_files}/${_archive}.jar" DESTINATION Binaries/Jvm RENAME FerrolinkJvmRuntime.jar
    ${_java_component})
  install(FILES "${_files}/${_archive}-sources.jar" "${_files}/${_archive}-javadoc.jar"
    DESTINATION share/java ${_java_component})
  install(FILES "${_files}/ferrolink-${PROJECT_VERSION}.pom" DESTINATION share/java ${_java_component})
  install(FILES CHANGELOG.md README.md CONTRIBUTING.md DESTINATION . COMPONENT ferrolink-doc)
  install(DIRECTORY docs examples DESTINATION . COMPONENT ferrolink-doc PATTERN site EXCLUDE)
  install(FILES packaging/debian/copyright DESTINATION . COMPONENT libferrolink)
  return()
endif()

# ferrolink_link(<component> <destination> <name> <target>): installs a symbolic link.
function(ferrolink_link component destination name target)
  string(MD5 _place "${destination}")
  file(MAKE_DIRECTORY "${_files}/links/${_place}")
  file(CREATE_LINK "${target}" "${_files}/links/${_place}/${name}" SYMBOLIC)
  install(FILES "${_files}/links/${_place}/${name}" DESTINATION "${destination}" COMPONENT ${component})
endfunction()

install(FILES "${_files}/${_archive}.jar" DESTINATION share/java ${_java_component})
ferrolink_link(libferrolink-java share/java ferrolink.jar ${_archive}.jar)
ferrolink_link(libferrolink lib/ferrolink/Binaries/Jvm FerrolinkJvmRuntime.jar ../../../../share/java/ferrolink.jar)

# The repository of Debian's Maven, with the version of its own that packages of Debian name.
set(_maven share/maven-repo/com/ferrolink/ferrolink)
foreach(_pom_version "${PROJECT_VERSION}" debian)
  install(FILES "${_files}/ferrolink-${_pom_version}.pom" DESTINATION ${_maven}/${_pom_version} ${_java_component})
  ferrolink_link(libferrolink-java ${_maven}/${_pom_version} ferrolink-${_pom_version}.jar
    ../../../../../java/${_archive}.jar)
endforeach()
install(FILES "${_files}/${_archive}-sources.jar" "${_files}/${_archive}-javadoc.jar"
  DESTINATION ${_maven}/${PROJECT_VERSION} ${_java_component})
# Beside each name of the archive, where development environments look.
foreach(_beside -sources.jar -javadoc.jar .pom)
  ferrolink_link(libferrolink-java share/java ${_archive}${_beside}
    ../maven-repo/com/ferrolink/ferrolink/${PROJECT_VERSION}/${_archive}${_beside})
  ferrolink_link(libferrolink-java share/java ferrolink${_beside} ${_archive}${_beside})
endforeach()

foreach(_package IN LISTS _packages)
  install(FILES packaging/debian/copyright "${_files}/changelog.Debian.gz"
    DESTINATION share/doc/${_package} COMPONENT ${_package})
  set(_overrides "packaging/debian/lintian-overrides")
  if(_package STREQUAL "ferrolink-doc")
    file(READ "${_overrides}" _for_all)
    file(READ "${_overrides}-doc" _for_this)
    set(_overrides "${_files}/lintian-overrides-doc")
    file(WRITE "${_overrides}" "${_for_all}${_for_this}")
  endif()
  install(FILES "${_overrides}" DESTINATION share/lintian/overrides RENAME ${_package} COMPONENT ${_package})
endforeach()
install(FILES "${_files}/changelog.gz" DESTINATION share/doc/libferrolink COMPONENT libferrolink)
install(FILES packaging/server.json DESTINATION /etc/ferrolink COMPONENT ferrolink-tools)
install(FILES README.md CONTRIBUTING.md DESTINATION share/doc/ferrolink-doc
  COMPONENT ferrolink-doc)
install(DIRECTORY docs DESTINATION share/doc/ferrolink-doc COMPONENT ferrolink-doc PATTERN site EXCLUDE)
install(DIRECTORY examples DESTINATION share/doc/ferrolink-doc COMPONENT ferrolink-doc)
install(DIRECTORY tests/consumers/ DESTINATION share/doc/ferrolink-doc/examples/first-answer
  COMPONENT ferrolink-doc PATTERN expected EXCLUDE PATTERN run EXCLUDE)
# scripts/docs builds the site.
install(DIRECTORY build/site/ DESTINATION share/doc/ferrolink-doc/html COMPONENT ferrolink-doc)
include(FerrolinkPackages)
