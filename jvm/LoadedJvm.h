#ifndef FERROLINK_JVM_LOADEDJVM_H
#define FERROLINK_JVM_LOADEDJVM_H

#include <jni.h>

namespace Ferrolink::Runtimes::Jvm::Native {

/// The JVM that runs under any JVM library of the process: libjvm.so, also if it was opened through
/// a link with another name. Null if none runs. Loads nothing. Any thread.
///
/// JNI_GetCreatedJavaVMs knows only the JVM of its own library. A process can have two JVM
/// libraries: a Java program's own, and the one that JAVA_HOME names. A second JVM would end the
/// process.
JavaVM* FindLoadedJvm();

}  // namespace Ferrolink::Runtimes::Jvm::Native

#endif
