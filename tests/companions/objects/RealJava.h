#ifndef FERROLINK_TESTS_COMPANIONS_OBJECTS_REALJAVA_H
#define FERROLINK_TESTS_COMPANIONS_OBJECTS_REALJAVA_H

#include <ferrolink/Host.h>
#include <ferrolink/Objects.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/Jdks.h"
#include "tests/support/ProcessCase.h"

/// Typed calls with the built library, the built archive and a real JVM.
namespace Ferrolink::Tests {

/// Runs a case in its own installation, with one JDK.
CaseResult RunOnJava(const std::string& name, const std::filesystem::path& jdk,
                     const std::string& javaOptions = "");

/// Expects that the case ended well, without complaints of a JVM that checks JNI.
void ExpectEnded(const CaseResult& result);
/// The same, with exactly this report.
void ExpectReport(const CaseResult& result, const std::vector<std::string>& report);

/// For bodies: a Host of the case's installation, with the archive of the tests' classes.
Ferrolink::Host::Host& TheHost();
/// For bodies: the typed calls of TheHost.
Ferrolink::Objects::Java TheJava();

/// For bodies: the full name of a test class.
std::string TestClass(const std::string& name);

/// For bodies: runs Java's collector until the broker has at most that many functions. Returns
/// their number.
std::size_t FunctionsAfterCollection(const Ferrolink::Objects::Java& java, std::size_t expected);

/// Each JDK of this machine.
class OnEachJdk : public testing::TestWithParam<std::filesystem::path> {};

}  // namespace Ferrolink::Tests

#endif
