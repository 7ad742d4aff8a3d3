#ifndef FERROLINK_JVM_LOADEDJVM_H
#define FERROLINK_JVM_LOADEDJVM_H

#include <jni.h>

/// The JVM that runs under any JVM library (libjvm.so, also where it was opened through a link of
/// another name) that the process has loaded; null where none runs. Loads nothing. Any thread.
///
/// JNI_GetCreatedJavaVMs knows only the JVM of its own library, and two JVM libraries can be
/// loaded: a Java program's own, and the one that JAVA_HOME names. A second JVM in a process would
/// end it.
JavaVM* FindLoadedJvm();

#endif
