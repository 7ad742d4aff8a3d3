#ifndef FERROLINK_TESTS_COMPANIONS_OBJECTS_PROBE_H
#define FERROLINK_TESTS_COMPANIONS_OBJECTS_PROBE_H

#include <ferrolink/Objects.h>

#include <string>
#include <vector>

#include "tests/companions/objects/RealJava.h"

/// Probes: short tests of typed calls, each with its expected report:
///
/// PROBE(AFieldIsRead, "5") { return Text(java.New(...).Get<int>("x")); }
///
/// All of them run one after another in one JVM, on every JDK, and once more with checked JNI.
namespace Ferrolink::Tests {

struct Probe {
  const char* name;
  const char* expected;
  std::string (*run)(const Ferrolink::Objects::Java& java);
};

/// In the order in which the files were linked, then by line.
std::vector<Probe>& Probes();

struct ProbeRegistration {
  explicit ProbeRegistration(const Probe& probe) { Probes().push_back(probe); }
};

template <class T>
std::string Text(const T& value) {
  if constexpr (std::is_convertible_v<T, std::string>) {
    return value;
  } else if constexpr (std::is_same_v<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::is_same_v<T, Ferrolink::Objects::Object>) {
    return value.ToString();
  } else {
    return std::to_string(value);
  }
}

/// The texts of several values, separated by blanks.
template <class... Values>
std::string Texts(const Values&... values) {
  std::string texts;
  ((texts += (texts.empty() ? "" : " ") + Text(values)), ...);
  return texts;
}

}  // namespace Ferrolink::Tests

#define PROBE(name, expected)                                            \
  static std::string probe_##name(const Ferrolink::Objects::Java& java); \
  static const Ferrolink::Tests::ProbeRegistration registration_##name(  \
      Ferrolink::Tests::Probe{#name, expected, probe_##name});           \
  static std::string probe_##name([[maybe_unused]] const Ferrolink::Objects::Java& java)

#endif
