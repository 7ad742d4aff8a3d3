#ifndef FERROLINK_JVM_JVMENTRYPOINTS_H
#define FERROLINK_JVM_JVMENTRYPOINTS_H

#include <jni.h>

/// The functions that a JVM library exports to those who look for a JVM or create one.
using GetCreatedJavaVMsFunction = jint(JavaVM**, jsize, jsize*);  ///< JNI_GetCreatedJavaVMs
using CreateJavaVMFunction = jint(JavaVM**, void**, void*);       ///< JNI_CreateJavaVM

#endif
