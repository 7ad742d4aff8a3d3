# cmake --install. FERROLINK_LAYOUT chooses where the files go:
# - tree: everything below one prefix, which is the installation's root (FERROLINK_HOME);
# - system: the directories of a Debian system, for a prefix of /usr. The root is lib/ferrolink.
# Each rule names the Debian package that the file belongs to as its component.
include(CMakePackageConfigHelpers)
set(FERROLINK_LAYOUT tree CACHE STRING "Where files are installed: \"tree\" (one prefix) or \"system\"")
set_property(CACHE FERROLINK_LAYOUT PROPERTY STRINGS tree system)

if(FERROLINK_LAYOUT STREQUAL "system")
  include(GNUInstallDirs)
  set(FERROLINK_TREE_DIR lib/ferrolink)
  set(_libraries "${CMAKE_INSTALL_LIBDIR}")
  set(_units /lib/systemd/system)
else()
  set(FERROLINK_TREE_DIR .)
  set(_libraries lib)
  set(_units lib/systemd/system)
endif()
set(_package "${_libraries}/cmake/Ferrolink")

install(TARGETS FerrolinkJvmRuntimeNative FerrolinkCppRuntimeNative Configs Utils
  FerrolinkTcpClient FerrolinkTcpTlsClient
  LIBRARY DESTINATION "${FERROLINK_TREE_DIR}/Binaries/Native/Linux/X64" COMPONENT libferrolink)
if(NOT FERROLINK_PACKAGING)
  install(FILES "${FERROLINK_JVM_DIR}/FerrolinkJvmRuntime.jar"
    DESTINATION "${FERROLINK_TREE_DIR}/Binaries/Jvm" COMPONENT libferrolink-java)
endif()

set(_programs ferrolink-server)
if(TARGET ferrolink)
  list(APPEND _programs ferrolink)
endif()
install(TARGETS ${_programs} RUNTIME DESTINATION bin COMPONENT ferrolink-tools)
# The unit has the program's final path, which is known only at installation.
install(CODE "
  set(FERROLINK_SERVER \"\${CMAKE_INSTALL_PREFIX}/bin/ferrolink-server\")
  configure_file(\"${PROJECT_SOURCE_DIR}/companions/tcp/server/ferrolink-server.service.in\"
    \"${PROJECT_BINARY_DIR}/ferrolink-server.service\" @ONLY)" COMPONENT ferrolink-tools)
install(FILES "${PROJECT_BINARY_DIR}/ferrolink-server.service"
  companions/tcp/server/ferrolink-server.socket DESTINATION ${_units} COMPONENT ferrolink-tools)
foreach(_program IN LISTS _programs)
  install(FILES packaging/completion.bash RENAME ${_program}
    DESTINATION share/bash-completion/completions COMPONENT ferrolink-tools)
endforeach()

install(DIRECTORY companions/protocol/ferrolink companions/host/ferrolink companions/cpp/ferrolink
  DESTINATION include/ferrolink COMPONENT libferrolink-dev FILES_MATCHING PATTERN "*.h")
install(DIRECTORY native/interfaces DESTINATION include/ferrolink/native
  COMPONENT libferrolink-dev FILES_MATCHING PATTERN "*.h")
install(TARGETS FerrolinkProtocol FerrolinkHost FerrolinkCppHost EXPORT FerrolinkTargets)
install(EXPORT FerrolinkTargets NAMESPACE Ferrolink:: DESTINATION ${_package} COMPONENT libferrolink-dev)
configure_package_config_file(cmake/FerrolinkConfig.cmake.in FerrolinkConfig.cmake
  INSTALL_DESTINATION ${_package} PATH_VARS FERROLINK_TREE_DIR)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfigVersion.cmake" DESTINATION ${_package}
  COMPONENT libferrolink-dev)

# From the directory of the pkg-config files up to the prefix, so that a tree can be moved.
file(RELATIVE_PATH FERROLINK_PREFIX_FROM_PKG_CONFIG "/${_libraries}/pkgconfig" /)
foreach(_name ferrolink-host ferrolink-cpp)
  configure_file(packaging/pkg-config/${_name}.pc.in ${_name}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${_name}.pc" DESTINATION "${_libraries}/pkgconfig"
    COMPONENT libferrolink-dev)
endforeach()

if(FERROLINK_PACKAGING)
  include(FerrolinkPackageFiles)
endif()
