#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_CHECKS_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_CHECKS_H

#include "companions/tool/doctor/Finding.h"
#include "companions/tool/doctor/Machine.h"

/// The checks of the doctor. Each looks at one subject and adds what is wrong. None changes the
/// machine, except that a check of the working directory makes a file there and removes it.
namespace Ferrolink::Companions::Tool {

/// The entry of an archive that receives commands.
inline constexpr const char* kReceiver = "com/ferrolink/core/receiver/Receiver.class";

void CheckInstallation(const Machine& machine, Findings& findings);
void CheckSiblings(const Machine& machine, Findings& findings);
void CheckOwnArchive(const Machine& machine, Findings& findings);
void CheckConfiguration(const Machine& machine, Findings& findings);
void CheckServerFile(const Machine& machine, Findings& findings);
void CheckJvmIsNamed(const Machine& machine, Findings& findings);
void CheckJvmLibrary(const Machine& machine, Findings& findings);
void CheckClassPath(const Machine& machine, Findings& findings);
void CheckPreloads(const Machine& machine, Findings& findings);
void CheckVariables(const Machine& machine, Findings& findings);
void CheckDebugMode(const Machine& machine, Findings& findings);
void CheckNativeAccess(const Machine& machine, Findings& findings);
void CheckWorkingDirectory(const Machine& machine, Findings& findings);
void CheckErrorLogs(const Machine& machine, Findings& findings);
void CheckThreads(const Machine& machine, Findings& findings);
void CheckOtherProcess(const Machine& machine, Findings& findings);
void CheckEndpoint(const Machine& machine, Findings& findings);

/// Those that look at the trial start. They do nothing if there was none.
void CheckStart(const Machine& machine, Findings& findings);
void CheckRunningJvm(const Machine& machine, Findings& findings);
void CheckHandlers(const Machine& machine, Findings& findings);
void CheckReceiver(const Machine& machine, Findings& findings);
void CheckSignals(const Machine& machine, Findings& findings);
void CheckHeap(const Machine& machine, Findings& findings);

}  // namespace Ferrolink::Companions::Tool

#endif
