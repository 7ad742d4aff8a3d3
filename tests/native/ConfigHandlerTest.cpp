#include "native/ConfigHandler.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/native/FakeCompanions.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Tests::CaseOptions;
using Ferrolink::Tests::CaseResult;
using Ferrolink::Tests::InstallationTree;
using Ferrolink::Tests::Report;
using Ferrolink::Tests::RunCase;
using Ferrolink::Tests::Texts;
using Ferrolink::Tests::ThrownBy;

namespace {

using Operation = std::function<std::string()>;

std::string Number(int value) {
  return "number " + std::to_string(value);
}

/// Each operation with fixed arguments, and its result as text.
const std::map<std::string, Operation> kOperations = {
    {"SetConfigSource", [] { return Number(ConfigHandler::SetConfigSource("a source")); }},
    {"SetWorkingDirectory", [] { return Number(ConfigHandler::SetWorkingDirectory("/a path")); }},
    {"GetChannelPort", [] { return Number(ConfigHandler::GetChannelPort("jvm", "default")); }},
    {"ProxyExists", [] { return Number(ConfigHandler::ProxyExists()); }},
    {"GetProxyPort", [] { return Number(ConfigHandler::GetProxyPort()); }},
    {"GetConfigSource", ConfigHandler::GetConfigSource},
    {"GetWorkingDirectory", ConfigHandler::GetWorkingDirectory},
    {"GetLoggingLevel", [] { return Number(ConfigHandler::GetLoggingLevel()); }},
    {"GetProxyHost", ConfigHandler::GetProxyHost},
    {"GetProxyUsername", ConfigHandler::GetProxyUsername},
    {"GetProxyPassword", ConfigHandler::GetProxyPassword},
    {"GetProxyDomain", ConfigHandler::GetProxyDomain},
    {"GetRuntimeName", [] { return ConfigHandler::GetRuntimeName("jvm", "default"); }},
    {"GetChannelType", [] { return ConfigHandler::GetChannelType("jvm", "default"); }},
    {"GetChannelHost", [] { return ConfigHandler::GetChannelHost("jvm", "default"); }},
    {"GetChannelRuntimePath",
     [] { return ConfigHandler::GetChannelRuntimePath("jvm", "default"); }},
};

bool IsText(const std::string& name) {
  return name.rfind("Set", 0) != 0 && name != "GetChannelPort" && name != "ProxyExists" &&
         name != "GetProxyPort" && name != "GetLoggingLevel";
}

const std::string& Argument(std::size_t index) {
  return Ferrolink::Tests::CaseArguments().at(index);
}

/// Settings that keep the error log and the logging level out of what a test looks at.
CaseOptions Quietly(const InstallationTree& tree, const Texts& arguments) {
  CaseOptions options = FakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.arguments = arguments;
  return options;
}

int Count(const std::string& text, const std::string& wanted) {
  int found = 0;
  for (auto at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) {
    ++found;
  }
  return found;
}

std::string Event(const std::string& message) {
  return "Native exception|" + message + "|Unknown\n";
}

}  // namespace

PROCESS_CASE(askOne) {
  const Operation& operation = kOperations.at(Argument(0));
  Report(ThrownBy([&] { Report("result " + operation()); }));
}

PROCESS_CASE(askAll) {
  for (const auto& [name, operation] : kOperations) {
    Report(name + ": " + operation());
  }
}

TEST(ConfigHandler, HandsEveryQueryOnAndItsResultBack) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = FakeSettings(tree);
  int answer = -3;
  Texts expected;
  for (const auto& [name, operation] : kOperations) {
    const std::string text = IsText(name) ? "the " + name + " answer" : std::to_string(answer++);
    options.environment["FAKE_CONFIGS_" + name] = name == "GetLoggingLevel" ? "all" : text;
    expected.push_back(name + ": " +
                       (IsText(name)                ? text
                        : name == "GetLoggingLevel" ? "number 2"
                                                    : "number " + text));
  }
  EXPECT_EQ(RunCase("askAll", tree, options).report, expected);
  EXPECT_EQ(Calls(tree),
            "GetChannelHost(jvm, default)\nGetChannelPort(jvm, default)\n"
            "GetChannelRuntimePath(jvm, default)\nGetChannelType(jvm, default)\n"
            "GetConfigSource()\nGetLoggingLevel()\nGetProxyDomain()\nGetProxyHost()\n"
            "GetProxyPassword()\nGetProxyPort()\nGetProxyUsername()\n"
            "GetRuntimeName(jvm, default)\nGetWorkingDirectory()\nProxyExists()\n"
            "SetConfigSource(a source)\nSetWorkingDirectory(/a path)\n");
}

TEST(ConfigHandler, NamesEachMissingFunctionAndRaisesItTwice) {
  for (const auto& [name, operation] : kOperations) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGSEMPTY_PATH, "libConfigs.so");
    tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    const CaseResult result = RunCase("askOne", tree, Quietly(tree, {name}));
    if (name == "GetLoggingLevel") {
      EXPECT_EQ(result.report, (Texts{"result number 0", "(nothing thrown)"}));
      continue;
    }
    const std::string message = name + " function not found in Utils library";
    EXPECT_EQ(result.report, Texts{message});
    // Each of the two asks for the working directory, in vain and with an error of its own.
    const std::string noDirectory = Ferrolink::Tests::Repeated(
        Event("GetWorkingDirectory function not found in Utils library"), 2);
    EXPECT_EQ(Events(tree), noDirectory + Event(message) + noDirectory + Event(message));
  }
}

TEST(ConfigHandler, LogsEachMissingFunctionTwice) {
  for (const auto& [name, operation] : kOperations) {
    if (name == "GetLoggingLevel" || name == "GetWorkingDirectory") {
      continue;
    }
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGSBASICS_PATH, "libConfigs.so");
    RunCase("askOne", tree, Quietly(tree, {name}));
    EXPECT_EQ(Count(tree.ErrorLog(), "\t" + name + " function not found in Utils library\n"), 2);
    EXPECT_EQ(Count(tree.ErrorLog(), "\n"), 2);
  }
}

TEST(ConfigHandler, TakesTheLevelForOneWhereItsFunctionIsMissing) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGSWITHOUTLOGGINGLEVEL_PATH, "libConfigs.so");
  tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
  CaseOptions options = FakeSettings(tree);
  options.arguments = {"GetLoggingLevel"};
  EXPECT_EQ(RunCase("askOne", tree, options).report,
            (Texts{"result number 1", "(nothing thrown)"}));
  EXPECT_EQ(Count(tree.ErrorLog(), "\tGetLoggingLevel function not found in Utils library\n"), 1);
}

PROCESS_CASE(askProxyThrice) {
  for (int i = 0; i < 3; ++i) {
    Report(ThrownBy([] { ConfigHandler::ProxyExists(); }));
  }
}

TEST(ConfigHandler, RaisesAMissingFunctionOnEveryCall) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGSBASICS_PATH, "libConfigs.so");
  EXPECT_EQ(RunCase("askProxyThrice", tree, Quietly(tree, {})).report,
            Texts(3, "ProxyExists function not found in Utils library"));
  EXPECT_EQ(Count(tree.ErrorLog(), "\n"), 6);
}

TEST(ConfigHandler, RaisesTheErrorTextOfAFailingTextFunctionTwice) {
  for (const auto& [name, operation] : kOperations) {
    if (!IsText(name)) {
      continue;
    }
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    tree.AddLibrary(FAKEUTILS_PATH, "libUtils.so");
    CaseOptions options = Quietly(tree, {name});
    options.environment["FAKE_CONFIGS_FAIL_" + name] = "no " + name + " today";
    const CaseResult result = RunCase("askOne", tree, options);
    EXPECT_EQ(result.report, Texts{"no " + name + " today"});
    const int logged = name == "GetWorkingDirectory" ? 0 : 2;
    EXPECT_EQ(Count(tree.ErrorLog(), "\tno " + name + " today\n"), logged);
    // The failing working directory adds two errors to each of the two.
    EXPECT_EQ(Events(tree), Ferrolink::Tests::Repeated(Event("no " + name + " today"),
                                                       name == "GetWorkingDirectory" ? 6 : 2));
  }
}

TEST(ConfigHandler, RaisesAnErrorTextThatFillsTheBufferWhole) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = Quietly(tree, {"GetProxyHost"});
  options.environment["FAKE_CONFIGS_FAIL_GetProxyHost"] = std::string(8192, 'e');
  EXPECT_EQ(RunCase("askOne", tree, options).report, Texts{std::string(8192, 'e')});
  options.environment["FAKE_CONFIGS_FAIL_GetProxyHost"] = "";
  EXPECT_EQ(RunCase("askOne", tree, options).report, Texts{""});
}

TEST(ConfigHandler, RaisesWhatAFunctionThrowsAnew) {
  for (const auto& [name, operation] : kOperations) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    CaseOptions options = Quietly(tree, {name});
    options.environment["FAKE_CONFIGS_THROW_" + name] = name + " broke";
    const CaseResult result = RunCase("askOne", tree, options);
    if (name == "GetLoggingLevel") {
      options.environment.erase("FERROLINK_LOGGING_LEVEL");
      EXPECT_EQ(RunCase("askOne", tree, options).report,
                (Texts{"result number 1", "(nothing thrown)"}));
      EXPECT_EQ(tree.ErrorLog(), "");
      continue;
    }
    EXPECT_EQ(result.report, Texts{name + " broke"});
    EXPECT_EQ(Count(tree.ErrorLog(), "\t" + name + " broke\n"),
              name == "GetWorkingDirectory" ? 0 : 1);
  }
}

TEST(ConfigHandler, TakesTheResultForTheTextsLength) {
  struct Answer {
    std::string text, result, expected;
  };
  const std::string zeros("a\0b\0", 4);
  const std::string padded = "text" + std::string(4, '\0');
  const std::vector<Answer> answers = {
      {"text", "0", ""},
      {"", "", ""},
      {"text", "2", "te"},
      {"a\1b\1", "", zeros},
      {"text", "8", padded},
      {std::string(8192, 'x'), "", std::string(8192, 'x')},
      {std::string(8192, 'x'), "9000", std::string(8192, 'x')},
  };
  for (const Answer& answer : answers) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    CaseOptions options = Quietly(tree, {"GetProxyDomain"});
    options.environment["FAKE_CONFIGS_GetProxyDomain"] = answer.text;
    if (!answer.result.empty()) {
      options.environment["FAKE_CONFIGS_RESULT_GetProxyDomain"] = answer.result;
    }
    EXPECT_EQ(RunCase("askOne", tree, options).report,
              (Texts{"result " + answer.expected, "(nothing thrown)"}));
  }
}

PROCESS_CASE(askLevels) {
  for (const std::string& setting : Ferrolink::Tests::CaseArguments()) {
    if (setting == "(unset)") {
      unsetenv("FERROLINK_LOGGING_LEVEL");
    } else {
      setenv("FERROLINK_LOGGING_LEVEL", setting.c_str(), 1);
    }
    Report(ConfigHandler::GetLoggingLevel());
  }
}

TEST(ConfigHandler, LetsALevelWordInTheEnvironmentWinInAnyCase) {
  for (const auto& [configured, level] :
       std::map<std::string, std::string>{{"off", "0"}, {"all", "2"}}) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    CaseOptions options = FakeSettings(tree);
    options.environment["FAKE_CONFIGS_GetLoggingLevel"] = configured;
    options.arguments = {"ALL", "Off", "rUNTIMEiNFO", "all", "verbose", "", "off ", "(unset)"};
    EXPECT_EQ(RunCase("askLevels", tree, options).report,
              (Texts{"2", "0", "1", "2", level, level, level, level}));
    EXPECT_EQ(Calls(tree), Ferrolink::Tests::Repeated("GetLoggingLevel()\n", 4));
  }
}

namespace {

bool turkish = false;

}  // namespace

extern "C" int __real_tolower(int letter);
extern "C" int __wrap_tolower(int letter) {
  return turkish && letter == 'I' ? 0xFD : __real_tolower(letter);
}

PROCESS_CASE(askLevelInTurkish) {
  turkish = true;
  Report(ConfigHandler::GetLoggingLevel());
}

TEST(ConfigHandler, ReadsLevelWordsTheSameWhateverTheHostsLocale) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FERROLINK_LOGGING_LEVEL"] = "RUNTIMEINFO";
  options.environment["FAKE_CONFIGS_GetLoggingLevel"] = "all";
  EXPECT_EQ(RunCase("askLevelInTurkish", tree, options).report, Texts{"1"});
}

TEST(ConfigHandler, ReadsTheConfiguredLevelWordInAnyCaseAndTakesOthersForOne) {
  const std::map<std::string, std::string> levels = {
      {"off", "0"},  {"OFF", "0"},  {"runtimeinfo", "1"}, {"RuntimeInfo", "1"},
      {"all", "2"},  {"All", "2"},  {"verbose", "1"},     {"", "1"},
      {"all ", "1"}, {"off\1", "1"}};
  for (const auto& [word, level] : levels) {
    const InstallationTree tree;
    tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
    CaseOptions options = FakeSettings(tree);
    options.environment["FAKE_CONFIGS_GetLoggingLevel"] = word;
    options.arguments = {"(unset)"};
    EXPECT_EQ(RunCase("askLevels", tree, options).report, Texts{level}) << word;
  }
}

TEST(ConfigHandler, TakesTheLevelForOneWhereTheConfigurationFails) {
  const InstallationTree tree;
  tree.AddLibrary(FAKECONFIGS_PATH, "libConfigs.so");
  CaseOptions options = FakeSettings(tree);
  options.environment["FAKE_CONFIGS_FAIL_GetLoggingLevel"] = "off";
  options.arguments = {"(unset)"};
  const CaseResult result = RunCase("askLevels", tree, options);
  EXPECT_EQ(result.report, Texts{"1"});
  EXPECT_EQ(Count(tree.ErrorLog(), "\toff\n"), 1);
}
