#include "companions/tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "companions/tool/Commands.h"
#include "companions/tool/Failure.h"
#include "companions/tool/Options.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/Trial.h"
#include "companions/tool/doctor/Doctor.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

constexpr const char* kConfigurationHelp = "the program's configuration: a file or JSON text";
constexpr const char* kClassPathHelp =
    "the program's archives and directories of archives, separated by colons";

// The program's options. A callback runs after the whole line was read.
class CommandLine {
 public:
  CommandLine() {
    m_app.set_version_flag("--version", "ferrolink " FERROLINK_VERSION, "print the version");
    m_app.require_subcommand(1);
    AddDoctor();
    AddInfo();
    auto* explain = m_app.add_subcommand("explain", "tell what an error means and what to do");
    explain
        ->add_option("CODE|TEXT", m_words, "a code, such as 'JVM Launcher 016', or an error's text")
        ->required();
    explain->callback([this] { Explain(m_words); });
    AddRun();
    AddCall();
    m_app.add_subcommand("serve", "run ferrolink-server; its options follow (serve --help)");
    m_app.add_subcommand("bench", "measure a call's cost, as ratios to JNI written by hand")
        ->callback([this] { m_exitCode = Bench(); });
    AddTrial("trial-open", [](const std::string& file) { return RunOpenTrial(file); });
    AddTrial("trial-start", [](const std::string& settings) { return RunStartTrial(settings); });
  }
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine() = default;

  int Obey(int argc, char** argv) {
    try {
      m_app.parse(argc, argv);
    } catch (const CLI::Success& success) {  // --help and --version
      return m_app.exit(success);
    } catch (const CLI::ParseError& error) {
      std::fprintf(stderr,
                   "ferrolink: %s\nferrolink --help and ferrolink SUBCOMMAND --help list the "
                   "options.\n",
                   error.what());
      return kNotPossible;
    }
    return m_exitCode;
  }

 private:
  void AddDoctor() {
    auto* command = m_app.add_subcommand("doctor", "tell what is wrong with this machine");
    command->add_flag("--json", m_json, "print JSON");
    command->add_option("--config", m_case.configuration, kConfigurationHelp);
    command->add_option("--class-path", m_classPath, kClassPathHelp);
    command->add_flag("--host-signals", m_case.hostSignals,
                      "the program handles SIGINT, SIGTERM and SIGHUP itself");
    command->add_option("--connect", m_case.connect,
                        "also look at a server: tcp://host:port or tls://host:port");
    command->add_option("--tls-ca", m_case.authorities,
                        "the authorities to trust there (PEM) instead of the system's");
    command->add_option("--server-config", m_case.serverFile,
                        "also look at a configuration file of ferrolink-server");
    command->add_option("--pid", m_case.process, "also look at a running program");
    command->add_option("--control-groups", m_controlGroups,
                        "where the control groups are mounted; /sys/fs/cgroup unless given");
    command->add_flag_callback(
        "--no-start", [this] { m_case.startsJvm = false; }, "start no JVM for trial");
    command
        ->add_option_function<unsigned>(
            "--start-timeout-ms",
            [this](unsigned limit) { m_case.startLimit = std::chrono::milliseconds(limit); },
            "how long a JVM that is started for trial may take; 90000 unless given")
        ->check(CLI::Range(1U, 86'400'000U));
    command->footer(
        "Exit code: 0 nothing is wrong, 1 findings, 2 the examination was not possible.");
    command->callback([this] {
      m_case.classPath = PathsOf(m_classPath);
      for (const std::string& path : PathsOf(Host::detail::Variable("FERROLINK_CLASS_PATH"))) {
        m_case.classPath.push_back(path);
      }
      if (!m_controlGroups.empty()) {
        m_case.controlGroups = m_controlGroups;
      }
      if (m_json) {
        Progress::Silence();
      }
      m_exitCode = PrintExamination(Examine(m_case), m_json);
    });
  }

  void AddInfo() {
    auto* command =
        m_app.add_subcommand("info", "print versions, the JVM that would run, and settings");
    command->add_flag("--json", m_info.json, "print JSON");
    command->add_option("--config", m_info.configuration, kConfigurationHelp);
    command->add_option("--class-path", m_info.classPath, kClassPathHelp);
    command->callback([this] {
      if (m_info.json) {
        Progress::Silence();
      }
      Info(m_info);
    });
  }

  void AddRun() {
    auto* command = m_app.add_subcommand(
        "run", "run a program with the settings that Ferrolink needs: ferrolink run -- PROGRAM");
    command->add_option("--jvm-option", m_run.jvmOptions, "an option for the JVM; may be repeated")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command->add_flag("--host-signals", m_run.hostSignals,
                      "let the program keep SIGINT, SIGTERM, SIGHUP and SIGQUIT");
    command->add_flag("--preopen-jvm", m_run.preopenJvm,
                      "open the JVM library without deep binding first, for preloaded allocators");
    command->add_option("--class-path", m_run.classPath, kClassPathHelp);
    command->add_option("PROGRAM", m_run.program, "the program and its arguments, after --")
        ->required();
    command->callback([this] { RunProgram(m_run); });
  }

  void AddCall() {
    auto* command = m_app.add_subcommand("call", "call a handler and print its answer");
    command->add_option("HANDLER", m_call.handler, "the handler's name")->required();
    command->add_option("PAYLOAD", m_call.payload, "what it gets; unless given, standard input");
    command->add_option("--at", m_call.at, "a server: tcp://host:port or tls://host:port");
    command->add_option("--runtime", m_call.runtime, "whose handler: jvm or cpp; jvm unless given")
        ->check(CLI::IsMember({"jvm", "cpp"}));
    command->add_option("--class-path", m_call.classPath,
                        "archives for the JVM, separated by colons");
    command->add_option("--plug-in", m_call.plugIns, "a library for --runtime cpp; may be repeated")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    command->add_option("--config", m_call.configuration, "a configuration: a file or JSON text");
    command->add_option("--timeout-ms", m_call.timeLimit, "give up after that time");
    command->add_flag("--verbose", m_call.verbose,
                      "show on standard error what the runtime and handlers print");
    command->callback([this] { m_exitCode = Call(m_call); });
  }

  // For the tool itself: a child of a trial.
  void AddTrial(const std::string& name, const std::function<int(const std::string&)>& run) {
    auto* command = m_app.add_subcommand(name)->group("");
    command->add_option("SETTINGS", m_trial)->required();
    command->callback([this, run] { m_exitCode = run(m_trial); });
  }

  CLI::App m_app{"Looks after Ferrolink on this machine.", "ferrolink"};
  int m_exitCode = kDone;

  // Of the subcommand that is given.
  Case m_case;
  bool m_json = false;
  std::string m_classPath;
  std::string m_controlGroups;
  InfoOptions m_info;
  RunOptions m_run;
  CallOptions m_call;
  std::vector<std::string> m_words;
  std::string m_trial;
};

}  // namespace

int ObeyCommandLine(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "serve") == 0) {
    Serve(argv + 1);
  }
  return CommandLine().Obey(argc, argv);
}

}  // namespace Ferrolink::Companions::Tool
