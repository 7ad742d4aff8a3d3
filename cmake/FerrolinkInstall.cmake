# cmake --install puts the installation tree, the headers and the CMake package under one prefix. The
# prefix is then the installation's root (FERROLINK_HOME).
include(CMakePackageConfigHelpers)

install(TARGETS FerrolinkJvmRuntimeNative FerrolinkCppRuntimeNative Configs Utils
  FerrolinkTcpClient FerrolinkTcpTlsClient
  LIBRARY DESTINATION Binaries/Native/Linux/X64)
install(TARGETS ferrolink ferrolink-server RUNTIME DESTINATION bin)
# The unit has the program's final path, which is known only at installation.
install(CODE "
  set(FERROLINK_SERVER \"\${CMAKE_INSTALL_PREFIX}/bin/ferrolink-server\")
  configure_file(\"${PROJECT_SOURCE_DIR}/companions/tcp/server/ferrolink-server.service.in\"
    \"${PROJECT_BINARY_DIR}/ferrolink-server.service\" @ONLY)")
install(FILES "${PROJECT_BINARY_DIR}/ferrolink-server.service"
  companions/tcp/server/ferrolink-server.socket DESTINATION lib/systemd/system)
install(FILES "${FERROLINK_JVM_DIR}/FerrolinkJvmRuntime.jar" DESTINATION Binaries/Jvm)

install(DIRECTORY companions/protocol/ferrolink companions/host/ferrolink companions/cpp/ferrolink
  DESTINATION include/ferrolink FILES_MATCHING PATTERN "*.h")
install(DIRECTORY native/interfaces DESTINATION include/ferrolink/native FILES_MATCHING PATTERN "*.h")

set(_package lib/cmake/Ferrolink)
install(TARGETS FerrolinkProtocol FerrolinkHost FerrolinkCppHost EXPORT FerrolinkTargets)
install(EXPORT FerrolinkTargets NAMESPACE Ferrolink:: DESTINATION ${_package})
file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfig.cmake" [=[
include(CMakeFindDependencyMacro)
find_dependency(Threads)
include("${CMAKE_CURRENT_LIST_DIR}/FerrolinkTargets.cmake")
get_filename_component(FERROLINK_HOME "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
]=])
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/FerrolinkConfigVersion.cmake" DESTINATION ${_package})
