#include "native/NativeReceiver.h"

#include <utility>

#include "native/AppInsightLogger.h"
#include "native/ConfigHandler.h"
#include "native/Console.h"
#include "native/FerrolinkNativeException.h"
#include "native/RuntimeNameHandler.h"
#include "native/interfaces/CommandHeader.h"

namespace Ferrolink::Native::Receiver {
namespace {

namespace CommandHeader = Definitions::CommandHeader;
using AppInsightLogger::AppInsightLogger;
using ConfigHandler::ConfigHandler;
using Definitions::RuntimeOperationMode;
using RuntimeNameHandler::RuntimeNameHandler;

std::string PrintableText(const std::uint8_t* message, int length) {
  std::string text;
  for (int i = 0; i < length; ++i) {
    const bool printable = message[i] >= 32 && message[i] <= 126;
    text.push_back(printable ? static_cast<char>(message[i]) : ' ');
  }
  return text;
}

}  // namespace

NativeReceiver::NativeReceiver(RuntimeOperationMode mode) : m_operationMode(mode) {}

NativeReceiver::~NativeReceiver() = default;

void NativeReceiver::SetLauncher(std::unique_ptr<Interfaces::ILauncher> launcher) {
  m_launcher = std::move(launcher);
}

int NativeReceiver::SetConfigSource(std::string source) {
  return ConfigHandler::SetConfigSource(source);
}

int NativeReceiver::Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                               std::uint8_t launchArgument) {
  if (m_operationMode == RuntimeOperationMode::NotSet) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 031. \nRuntime not initialized", "Unknown");
  }
  if (m_launcher->IsInitialized()) {
    return 0;
  }
  m_callingRuntime = callingRuntime;
  m_calledRuntime = calledRuntime;
  m_launcher->Initialize(launchArgument);
  m_launcher->SetInitialized();
  if (m_operationMode == RuntimeOperationMode::CalledRuntime) {
    AnnounceInitialized();
  }
  return 0;
}

void NativeReceiver::AnnounceInitialized() {
  AppInsightLogger::LogMessage("Native message",
                               RuntimeNameHandler::GetRuntimeName(m_calledRuntime) + " initialized",
                               RuntimeNameHandler::GetRuntimeName(m_callingRuntime));
  const int level = ConfigHandler::GetLoggingLevel();
  if (m_runtimeInfoPrinted || level == 0) {
    return;
  }
  Console::PrintOut(m_launcher->GetRuntimeInfo() + "\n");
  m_runtimeInfoPrinted = true;
}

int NativeReceiver::SendCommand(std::uint8_t* message, int length) {
  return m_launcher->SendCommand(message, length);
}

int NativeReceiver::ReadResponse(std::uint8_t* buffer, int length) {
  const int result = m_launcher->ReadResponse(buffer, length);
  if (length >= CommandHeader::kSize &&
      buffer[CommandHeader::kCommandType] == CommandHeader::kTypeExceptionReport) {
    LogException(buffer, length);
  }
  return result;
}

void NativeReceiver::LogException(std::uint8_t* message, int length) {
  AppInsightLogger::LogMessage(RuntimeNameHandler::GetRuntimeName(m_calledRuntime) + " exception",
                               PrintableText(message, length),
                               RuntimeNameHandler::GetRuntimeName(m_callingRuntime));
}

int NativeReceiver::LoadOptimizedMethod(std::string name) {
  return m_launcher->LoadOptimizedMethod(std::move(name));
}

int NativeReceiver::SetEmbeddedRuntime(std::uint8_t runtime, std::string path) {
  return m_launcher->SetPath(runtime, std::move(path));
}

int NativeReceiver::DeployRuntime(std::uint8_t* message, int length, std::string path,
                                  std::uint8_t flag) {
  return m_launcher->DeployRuntime(message, length, std::move(path), flag);
}

}  // namespace Ferrolink::Native::Receiver
