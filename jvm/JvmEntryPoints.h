#ifndef FERROLINK_JVM_JVMENTRYPOINTS_H
#define FERROLINK_JVM_JVMENTRYPOINTS_H

#include <jni.h>

namespace Ferrolink::Runtimes::Jvm::Native {

/// The functions of a JVM library that find or create a JVM.
using GetCreatedJavaVMsFunction = jint(JavaVM**, jsize, jsize*);  ///< JNI_GetCreatedJavaVMs
using CreateJavaVMFunction = jint(JavaVM**, void**, void*);       ///< JNI_CreateJavaVM

}  // namespace Ferrolink::Runtimes::Jvm::Native

#endif
