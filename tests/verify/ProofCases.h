#ifndef FERROLINK_TESTS_VERIFY_PROOFCASES_H
#define FERROLINK_TESTS_VERIFY_PROOFCASES_H

#include <ferrolink/Host.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/calls/JavaProgramCases.h"

/// Helpers for proofs: tests with counts that scripts/verify raises, and figures that it records.
namespace Ferrolink::Tests {

/// Figures by name, of one run on one JDK.
using Figures = std::map<std::string, long>;

/// Runs the case on each JDK, in a complete tree with the proofs' handlers. Expects it to end by
/// itself. Passes its figures (lines or reports such as "calls=12") to `check`, and makes them
/// properties of the test.
void ProveOnEveryJdk(const std::string& name, const std::string& javaOptions,
                     const std::function<void(const Figures&)>& check);

/// For bodies: adds a figure.
void ReportFigure(const std::string& name, long value);

/// For bodies: the archive with the proofs' handlers and programs.
std::filesystem::path CaseProofs();

/// For bodies: starts the JVM with a command from this thread. The proofs' handlers are loaded.
Ferrolink::Host::Host& StartHost();

/// For bodies: runs `body` on that many threads, which begin together, and joins them.
void OnThreads(int threads, const std::function<void(int)>& body);

}  // namespace Ferrolink::Tests

#endif
