#include <sys/stat.h>

#include <ostream>

#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

constexpr const char* kKept = R"({"loggingLevel": "all", "proxy": {"host": "kept.example"}})";

struct Refusal {
  const char* name;
  std::string source;
  std::string text;  // after "Ferrolink configuration: JSON text: "
};

void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << refusal.name;
}

std::string Nested(int levels) {
  std::string text;
  for (int level = 0; level < levels; ++level) {
    text += "{\"a\":";
  }
  return text;
}

class ConfigsRefusal : public Configs, public ::testing::WithParamInterface<Refusal> {};

TEST_P(ConfigsRefusal, IsOneLineOnStandardErrorAndChangesNothing) {
  ASSERT_EQ(0, SetSource(kKept));
  EXPECT_EQ("Ferrolink configuration: JSON text: " + GetParam().text + "\n",
            Refusal(GetParam().source));
  EXPECT_EQ(kKept, Text("GetConfigSource"));
  EXPECT_EQ("all", Text("GetLoggingLevel"));
  EXPECT_EQ("kept.example", Text("GetProxyHost"));
}

const char* const kAllowedInProxy =
    R"(allowed are "host", "port", "username", "password", "domain")";
const char* const kAllowedInChannel =
    R"(allowed are "runtimeName", "channel", "host", "port", "runtimePath")";
const char* const kRuntimes =
    R"("clr", "cpp", "go", "jvm", "netcore", "nodejs", "perl", "php", "python", "python2", "ruby")";

std::string Jvm(const std::string& members) {
  return R"({"runtimes": {"jvm": {"default": {)" + members + "}}}}";
}

std::string Place(const std::string& rest) {
  return "/runtimes/jvm/default" + rest;
}

INSTANTIATE_TEST_SUITE_P(
    OfSyntax, ConfigsRefusal,
    ::testing::Values(
        Refusal{"UnfinishedText", "{\n  \"proxy\": {",
                "line 2, column 13: unexpected end of input; expected string literal"},
        Refusal{"CommaAtTheEnd", "{\"proxy\": {},\n}",
                "line 2, column 1: unexpected '}'; expected string literal"},
        Refusal{"ColumnInCharacters", "{\"ä\" x", "line 1, column 6: invalid literal"},
        Refusal{"TextAfterTheEnd", "{} {",
                "line 1, column 4: unexpected '{'; expected end of input"},
        Refusal{"NotUtf8", "{\"a\": \"\xff\"}",
                "line 1, column 8: invalid string: ill-formed UTF-8 byte"},
        Refusal{
            "OpenPassword", "{\"proxy\": {\"password\": \"secret\n\"}}",
            "line 1, column 31: invalid string: control character U+000A (LF) must be escaped to "
            "\\u000A or \\n"},
        Refusal{"HugeNumber", R"({"proxy": {"password": 1e999}})",
                "/proxy/password: a number is out of range"},
        Refusal{"TooDeep", Nested(33), "nested more than 32 levels deep"}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfKeys, ConfigsRefusal,
    ::testing::Values(
        Refusal{"UnknownKey", R"({"proxi": {}})",
                R"(/proxi: unknown key; allowed are "workingDirectory", "loggingLevel", "proxy", )"
                R"("runtimes", "endpoints")"},
        Refusal{"UnknownProxyKey", R"({"proxy": {"pasword": "secret"}})",
                std::string("/proxy/pasword: unknown key; ") + kAllowedInProxy},
        Refusal{"UnknownChannelKey", Jvm(R"("Port": 1)"),
                Place("/Port: unknown key; ") + kAllowedInChannel},
        Refusal{"UnknownRuntime", R"({"runtimes": {"jvn": {}}})",
                std::string("/runtimes/jvn: unknown runtime; known are ") + kRuntimes},
        Refusal{"SameKeyTwice", R"({"proxy": {"host": "a", "port": 1, "host": "b"}})",
                "/proxy/host: the key appears twice"},
        Refusal{"SameTopKeyTwice", R"({"proxy": {"host": "a"}, "proxy": {"host": "a"}})",
                "/proxy: the key appears twice"},
        Refusal{"SameRuntimeTwice", R"({"runtimes": {"JVM": {}, "jvm": {}}})",
                "/runtimes/jvm: the runtime appears twice, in different case of letters"},
        Refusal{"EscapedPlace", R"({"runtimes": {"jvm": {"a/b~c\n\u2028\u007f": 1}}})",
                R"(/runtimes/jvm/a~1b~0c\n\u2028\u007f: expected an object, got 1)"},
        Refusal{
            "LongPlace", "{\"" + std::string(200, 'x') + "\": 1}",
            "/" + std::string(100, 'x') +
                "...: unknown key; allowed are \"workingDirectory\", \"loggingLevel\", \"proxy\", "
                "\"runtimes\", \"endpoints\""}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfValues, ConfigsRefusal,
    ::testing::Values(
        Refusal{"RuntimesNoObject", R"({"runtimes": []})",
                "/runtimes: expected an object, got an array"},
        Refusal{"RuntimeNoObject", R"({"runtimes": {"jvm": null}})",
                "/runtimes/jvm: expected an object, got null"},
        Refusal{"ChannelNoObject", R"({"runtimes": {"jvm": {"default": true}}})",
                Place(": expected an object, got true")},
        Refusal{"HostNoText", Jvm(R"("host": 5)"),
                Place("/host: expected a text that is not empty, got 5")},
        Refusal{"HostEmpty", Jvm(R"("host": "")"),
                Place("/host: expected a text that is not empty, got \"\"")},
        Refusal{"HostWithNul", Jvm(R"("host": "a\u0000b")"),
                Place("/host: expected a text without control characters, got \"a\\u0000b\"")},
        Refusal{"PortText", Jvm(R"("port": "x")"),
                Place("/port: expected an integer 1 to 65535, got \"x\"")},
        Refusal{"PortZero", Jvm(R"("port": 0)"),
                Place("/port: expected an integer 1 to 65535, got 0")},
        Refusal{"PortNegative", Jvm(R"("port": -1)"),
                Place("/port: expected an integer 1 to 65535, got -1")},
        Refusal{"PortTooHigh", Jvm(R"("port": 65536)"),
                Place("/port: expected an integer 1 to 65535, got 65536")},
        Refusal{"PortHuge", Jvm(R"("port": 4294967297)"),
                Place("/port: expected an integer 1 to 65535, got 4294967297")},
        Refusal{"PortFraction", Jvm(R"("port": 80.0)"),
                Place("/port: expected an integer 1 to 65535, got 80.0")},
        Refusal{"UnknownChannel", Jvm(R"("channel": "udp")"),
                Place(R"(/channel: expected one of "inMemory", "tcp", "tcpTls", got "udp")")},
        Refusal{"LongValue", Jvm("\"channel\": \"" + std::string(59, 'x') + "äää\""),
                Place(R"(/channel: expected one of "inMemory", "tcp", "tcpTls", got ")") +
                    std::string(59, 'x') + "...\""},
        Refusal{"TcpWithoutPort", Jvm(R"("channel": "tcp", "host": "h")"),
                Place(R"(: the channel "tcp" needs "host" and "port")")},
        Refusal{"TcpTlsWithoutHost", Jvm(R"("channel": "tcpTls", "port": 1)"),
                Place(R"(: the channel "tcpTls" needs "host" and "port")")},
        Refusal{"UnknownRuntimeName", Jvm(R"("runtimeName": "java")"),
                Place("/runtimeName: unknown runtime; known are ") + kRuntimes},
        Refusal{"UnknownLevel", R"({"loggingLevel": 2})",
                R"(/loggingLevel: expected one of "off", "runtimeinfo", "all", got 2)"},
        Refusal{"MissingDirectory", R"({"workingDirectory": "/no/such"})",
                "/workingDirectory: no directory /no/such: No such file or directory"},
        Refusal{"DirectoryIsFile", R"({"workingDirectory": "/dev/null"})",
                "/workingDirectory: no directory /dev/null: it is something else"}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfTheProxy, ConfigsRefusal,
    ::testing::Values(
        Refusal{"ProxyNoObject", R"({"proxy": "user:secret@host"})",
                "/proxy: expected an object, got a text"},
        Refusal{"NoHost", R"({"proxy": {"port": 1}})", "/proxy: a proxy needs \"host\""},
        Refusal{"PasswordNumber", R"({"proxy": {"password": 12345}})",
                "/proxy/password: expected a text that is not empty, got a number"},
        Refusal{"PasswordTruthValue", R"({"proxy": {"password": true}})",
                "/proxy/password: expected a text that is not empty, got a truth value"},
        Refusal{"PasswordObject", R"({"proxy": {"password": {"secret": 1}}})",
                "/proxy/password: expected a text that is not empty, got an object"},
        Refusal{"PasswordWithNewline", R"({"proxy": {"password": "sec\nret"}})",
                "/proxy/password: expected a text without control characters, got a text"},
        Refusal{"PasswordAsPort", R"({"proxy": {"host": "h", "port": "secret"}})",
                "/proxy/port: expected an integer 1 to 65535, got a text"}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

TEST_F(Configs, ATextThatIsTooLargeIsRefused) {
  EXPECT_EQ("Ferrolink configuration: JSON text: larger than 1048576 bytes\n",
            Refusal("{" + std::string(1'048'576, ' ')));
}

TEST_F(Configs, AFilesRefusalNamesTheFile) {
  const std::string path = m_directory.Write("app.json", Jvm(R"("port": "x")"));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": /runtimes/jvm/default/port: expected an integer 1 to 65535, got \"x\"\n",
            Refusal(path));
  static_cast<void>(m_directory.Write("app.json", "{\n\"proxy\" 1}"));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": line 2, column 9: unexpected number literal; expected ':'\n",
            Refusal(path));
  static_cast<void>(m_directory.Write("app.json", "[1]"));
  EXPECT_EQ("Ferrolink configuration: " + path + ": expected an object, got an array\n",
            Refusal(path));
  static_cast<void>(m_directory.Write("app.json", ""));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": line 1, column 1: unexpected end of input; expected '[', '{', or a literal\n",
            Refusal(path));
  static_cast<void>(m_directory.Write("app.json", std::string("{}\n\0{", 5)));
  EXPECT_EQ("Ferrolink configuration: " + path + ": line 2, column 1: a NUL character\n",
            Refusal(path));
  static_cast<void>(m_directory.Write("app.json", std::string(1'048'577, ' ')));
  EXPECT_EQ("Ferrolink configuration: " + path + ": larger than 1048576 bytes\n", Refusal(path));
}

TEST_F(Configs, AFileThatCannotBeReadIsRefused) {
  const std::string start = "Ferrolink configuration: ";
  EXPECT_EQ(start + m_directory.Path("none") + ": cannot open: No such file or directory\n",
            Refusal(m_directory.Path("none")));
  EXPECT_EQ(start + m_directory.Path() + ": not a regular file\n", Refusal(m_directory.Path()));
  ASSERT_EQ(0, mkfifo(m_directory.Path("pipe").c_str(), 0600));
  EXPECT_EQ(start + m_directory.Path("pipe") + ": not a regular file\n",
            Refusal(m_directory.Path("pipe")));
}

TEST_F(Configs, APathInARefusalStaysOnOneLine) {
  EXPECT_EQ(
      "Ferrolink configuration: a\\u001b[2J\\u0085\xEF\xBF\xBDü: cannot open: No such file or "
      "directory\n",
      Refusal("a\x1b[2J\xc2\x85\xffü"));
}

TEST_F(Configs, WhatLooksLikeTextIsNotRepeatedAsAPath) {
  const std::string start =
      "Ferrolink configuration: the source, taken for a path as it does not begin with \"{\": "
      "cannot open: ";
  EXPECT_EQ(start + "No such file or directory\n", Refusal(R"("password": "secret")"));
  EXPECT_EQ(start + "No such file or directory\n", Refusal("password: secret\n"));
  EXPECT_EQ(start + "File name too long\n", Refusal(std::string(5000, 'x')));
}

TEST_F(Configs, EmptyTextsAndNullPointersAreRefused) {
  EXPECT_EQ("Ferrolink configuration: the source is empty\n", Refusal(""));
  EXPECT_EQ("Ferrolink configuration: the source is empty\n", Refusal(" \n"));
  EXPECT_EQ("Ferrolink configuration: the source is a null pointer\n",
            Refusal("SetConfigSource", nullptr));
  EXPECT_EQ("Ferrolink configuration: the working directory is empty\n",
            Refusal("SetWorkingDirectory", ""));
  EXPECT_EQ("Ferrolink configuration: the working directory is a null pointer\n",
            Refusal("SetWorkingDirectory", nullptr));
}

TEST_F(Configs, ARefusedWorkingDirectoryLeavesTheFormerOne) {
  ASSERT_EQ(0, SetDirectory(m_directory.Path()));
  EXPECT_EQ(
      "Ferrolink configuration: the working directory: no directory /no/such: No such file or "
      "directory\n",
      Refusal("SetWorkingDirectory", "/no/such"));
  EXPECT_EQ(
      "Ferrolink configuration: the working directory: no directory /dev/null: it is something "
      "else\n",
      Refusal("SetWorkingDirectory", "/dev/null"));
  EXPECT_EQ(m_directory.Path(), Text("GetWorkingDirectory"));
}

}  // namespace
}  // namespace Ferrolink::Tests
