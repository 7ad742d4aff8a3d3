# The installation tree that the library expects around itself: all native libraries in one directory,
# the archive in Binaries/Jvm. The build writes it, so every preset's build is an installation.
set(FERROLINK_BINARIES_ROOT "${CMAKE_BINARY_DIR}")
set(FERROLINK_NATIVE_DIR "${FERROLINK_BINARIES_ROOT}/Binaries/Native/Linux/X64")
set(FERROLINK_JVM_DIR "${FERROLINK_BINARIES_ROOT}/Binaries/Jvm")
file(MAKE_DIRECTORY "${FERROLINK_NATIVE_DIR}" "${FERROLINK_JVM_DIR}")
