#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_DOCTOR_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_DOCTOR_H

#include "companions/tool/doctor/Finding.h"
#include "companions/tool/doctor/Machine.h"

namespace Ferrolink::Companions::Tool {

/// All that is wrong, and the machine as it was found.
struct Examination {
  Machine machine;
  Findings findings;
};

/// Runs all checks. Starts a JVM in a child if one can be expected to start.
Examination Examine(const Case& asked);

/// Prints an examination on standard output. Returns the exit code of the subcommand.
int PrintExamination(const Examination& examination, bool asJson);

}  // namespace Ferrolink::Companions::Tool

#endif
