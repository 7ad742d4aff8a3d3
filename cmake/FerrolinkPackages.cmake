# The Debian packages: scripts/package runs cpack on this.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ferrolink)
set(CPACK_PACKAGE_VENDOR Ferrolink)
set(CPACK_PACKAGE_CONTACT "${FERROLINK_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/debian")
set(CPACK_VERBATIM_VARIABLES ON)
# Installs below DESTDIR, since units and configuration have absolute paths.
set(CPACK_SET_DESTDIR ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL ${_packages})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "${FERROLINK_PACKAGE_REVISION}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(_this "= ${FERROLINK_PACKAGE_VERSION}")

# ferrolink_debian_package(<name> <section> <amd64|all> <description> [<FIELD> <value> ...])
# The first line of the description is the summary.
macro(ferrolink_debian_package name section architecture description)
  string(TOUPPER ${name} _key)
  set(CPACK_DEBIAN_${_key}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${_key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${_key}_PACKAGE_ARCHITECTURE ${architecture})
  set(CPACK_DEBIAN_${_key}_DESCRIPTION "${description}")
  set(_fields ${ARGN})
  while(_fields)
    list(POP_FRONT _fields _field _value)
    set(CPACK_DEBIAN_${_key}_${_field} "${_value}")
  endwhile()
endmacro()

ferrolink_debian_package(libferrolink libs amd64
"calls between language runtimes in one process - libraries
Ferrolink lets programs in different language runtimes call one another. C++
programs call Java, and Java programs call C++, in the same process or over
TCP and TLS.

This package has the libraries of the installation in /usr/lib/ferrolink."
  PACKAGE_SHLIBDEPS ON
  DEBUGINFO_PACKAGE ON
  PACKAGE_DEPENDS "libferrolink-java (${_this})"
  PACKAGE_RECOMMENDS "default-jre-headless | java8-runtime-headless"
  PACKAGE_SUGGESTS ferrolink-doc)
ferrolink_debian_package(libferrolink-java java all
"calls between language runtimes in one process - Java archive
Ferrolink lets programs in different language runtimes call one another.

This package has the Java archive, for class paths and for Maven, with its
sources and its documentation. Java programs that call other runtimes need
the package libferrolink as well."
  PACKAGE_SUGGESTS libferrolink)
ferrolink_debian_package(libferrolink-dev libdevel amd64
"calls between language runtimes in one process - headers
Ferrolink lets programs in different language runtimes call one another.

This package has the headers for programs in C++ and for plug-in libraries in
C and C++, a CMake package and pkg-config files."
  PACKAGE_DEPENDS "libferrolink (${_this})")
ferrolink_debian_package(ferrolink-tools net amd64
"calls between language runtimes in one process - programs
Ferrolink lets programs in different language runtimes call one another.

This package has the server for calls over the network, with units for
systemd, and the tools for the command line."
  PACKAGE_SHLIBDEPS ON
  DEBUGINFO_PACKAGE ON
  PACKAGE_DEPENDS "libferrolink (${_this})")
foreach(_script conffiles postinst prerm postrm)
  list(APPEND CPACK_DEBIAN_FERROLINK-TOOLS_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/debian/${_script}")
endforeach()
ferrolink_debian_package(ferrolink-doc doc all
"calls between language runtimes in one process - documentation
Ferrolink lets programs in different language runtimes call one another.

This package has the guides, the references of C++ and Java, and the examples.")
include(CPack)
