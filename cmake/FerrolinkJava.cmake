# The JDK that compiles the archive and supplies jni.h: JAVA_HOME, or, if that is unset, the JDK of javac
# on the path.
find_package(Java 11 REQUIRED COMPONENTS Development)
include(UseJava)
set(CMAKE_JAVA_COMPILE_FLAGS --release 8 -encoding UTF-8 -Xlint:all,-options -Werror)

get_filename_component(_javac "${Java_JAVAC_EXECUTABLE}" REALPATH)
get_filename_component(_javac_bin "${_javac}" DIRECTORY)
get_filename_component(FERROLINK_JDK_HOME "${_javac_bin}" DIRECTORY)
find_path(FERROLINK_JNI_INCLUDE_DIR jni.h HINTS "${FERROLINK_JDK_HOME}/include" REQUIRED NO_DEFAULT_PATH)

add_library(FerrolinkJni INTERFACE)
target_include_directories(FerrolinkJni SYSTEM INTERFACE
  "${FERROLINK_JNI_INCLUDE_DIR}" "${FERROLINK_JNI_INCLUDE_DIR}/linux")
