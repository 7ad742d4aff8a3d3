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

std::string nested(int levels) {
  std::string text;
  for (int level = 0; level < levels; ++level) {
    text += "{\"a\":";
  }
  return text;
}

class ConfigsRefusal : public Configs, public ::testing::WithParamInterface<Refusal> {};

TEST_P(ConfigsRefusal, IsOneLineOnStandardErrorAndChangesNothing) {
  ASSERT_EQ(0, setSource(kKept));
  EXPECT_EQ("Ferrolink configuration: JSON text: " + GetParam().text + "\n",
            refusal(GetParam().source));
  EXPECT_EQ(kKept, text("GetConfigSource"));
  EXPECT_EQ("all", text("GetLoggingLevel"));
  EXPECT_EQ("kept.example", text("GetProxyHost"));
}

const char* const kAllowedInProxy =
    R"(allowed are "host", "port", "username", "password", "domain")";
const char* const kAllowedInChannel =
    R"(allowed are "runtimeName", "channel", "host", "port", "runtimePath")";
const char* const kRuntimes =
    R"("clr", "cpp", "go", "jvm", "netcore", "nodejs", "perl", "php", "python", "python2", "ruby")";

std::string jvm(const std::string& members) {
  return R"({"runtimes": {"jvm": {"default": {)" + members + "}}}}";
}

std::string place(const std::string& rest) {
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
        Refusal{"TooDeep", nested(33), "nested more than 32 levels deep"}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

INSTANTIATE_TEST_SUITE_P(
    OfKeys, ConfigsRefusal,
    ::testing::Values(
        Refusal{"UnknownKey", R"({"proxi": {}})",
                R"(/proxi: unknown key; allowed are "workingDirectory", "loggingLevel", "proxy", )"
                R"("runtimes", "endpoints")"},
        Refusal{"UnknownProxyKey", R"({"proxy": {"pasword": "secret"}})",
                std::string("/proxy/pasword: unknown key; ") + kAllowedInProxy},
        Refusal{"UnknownChannelKey", jvm(R"("Port": 1)"),
                place("/Port: unknown key; ") + kAllowedInChannel},
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
                place(": expected an object, got true")},
        Refusal{"HostNoText", jvm(R"("host": 5)"),
                place("/host: expected a text that is not empty, got 5")},
        Refusal{"HostEmpty", jvm(R"("host": "")"),
                place("/host: expected a text that is not empty, got \"\"")},
        Refusal{"HostWithNul", jvm(R"("host": "a\u0000b")"),
                place("/host: expected a text without control characters, got \"a\\u0000b\"")},
        Refusal{"PortText", jvm(R"("port": "x")"),
                place("/port: expected an integer 1 to 65535, got \"x\"")},
        Refusal{"PortZero", jvm(R"("port": 0)"),
                place("/port: expected an integer 1 to 65535, got 0")},
        Refusal{"PortNegative", jvm(R"("port": -1)"),
                place("/port: expected an integer 1 to 65535, got -1")},
        Refusal{"PortTooHigh", jvm(R"("port": 65536)"),
                place("/port: expected an integer 1 to 65535, got 65536")},
        Refusal{"PortHuge", jvm(R"("port": 4294967297)"),
                place("/port: expected an integer 1 to 65535, got 4294967297")},
        Refusal{"PortFraction", jvm(R"("port": 80.0)"),
                place("/port: expected an integer 1 to 65535, got 80.0")},
        Refusal{"UnknownChannel", jvm(R"("channel": "udp")"),
                place(R"(/channel: expected one of "inMemory", "tcp", "tcpTls", got "udp")")},
        Refusal{"LongValue", jvm("\"channel\": \"" + std::string(59, 'x') + "äää\""),
                place(R"(/channel: expected one of "inMemory", "tcp", "tcpTls", got ")") +
                    std::string(59, 'x') + "...\""},
        Refusal{"TcpWithoutPort", jvm(R"("channel": "tcp", "host": "h")"),
                place(R"(: the channel "tcp" needs "host" and "port")")},
        Refusal{"TcpTlsWithoutHost", jvm(R"("channel": "tcpTls", "port": 1)"),
                place(R"(: the channel "tcpTls" needs "host" and "port")")},
        Refusal{"UnknownRuntimeName", jvm(R"("runtimeName": "java")"),
                place("/runtimeName: unknown runtime; known are ") + kRuntimes},
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
            refusal("{" + std::string(1'048'576, ' ')));
}

TEST_F(Configs, AFilesRefusalNamesTheFile) {
  const std::string path = directory.write("app.json", jvm(R"("port": "x")"));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": /runtimes/jvm/default/port: expected an integer 1 to 65535, got \"x\"\n",
            refusal(path));
  static_cast<void>(directory.write("app.json", "{\n\"proxy\" 1}"));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": line 2, column 9: unexpected number literal; expected ':'\n",
            refusal(path));
  static_cast<void>(directory.write("app.json", "[1]"));
  EXPECT_EQ("Ferrolink configuration: " + path + ": expected an object, got an array\n",
            refusal(path));
  static_cast<void>(directory.write("app.json", ""));
  EXPECT_EQ("Ferrolink configuration: " + path +
                ": line 1, column 1: unexpected end of input; expected '[', '{', or a literal\n",
            refusal(path));
  static_cast<void>(directory.write("app.json", std::string("{}\n\0{", 5)));
  EXPECT_EQ("Ferrolink configuration: " + path + ": line 2, column 1: a NUL character\n",
            refusal(path));
  static_cast<void>(directory.write("app.json", std::string(1'048'577, ' ')));
  EXPECT_EQ("Ferrolink configuration: " + path + ": larger than 1048576 bytes\n", refusal(path));
}

TEST_F(Configs, AFileThatCannotBeReadIsRefused) {
  const std::string start = "Ferrolink configuration: ";
  EXPECT_EQ(start + directory.path("none") + ": cannot open: No such file or directory\n",
            refusal(directory.path("none")));
  EXPECT_EQ(start + directory.path() + ": not a regular file\n", refusal(directory.path()));
  ASSERT_EQ(0, mkfifo(directory.path("pipe").c_str(), 0600));
  EXPECT_EQ(start + directory.path("pipe") + ": not a regular file\n",
            refusal(directory.path("pipe")));
}

TEST_F(Configs, APathInARefusalStaysOnOneLine) {
  EXPECT_EQ(
      "Ferrolink configuration: a\\u001b[2J\\u0085\xEF\xBF\xBDü: cannot open: No such file or "
      "directory\n",
      refusal("a\x1b[2J\xc2\x85\xffü"));
}

TEST_F(Configs, WhatLooksLikeTextIsNotRepeatedAsAPath) {
  const std::string start =
      "Ferrolink configuration: the source, taken for a path as it does not begin with \"{\": "
      "cannot open: ";
  EXPECT_EQ(start + "No such file or directory\n", refusal(R"("password": "secret")"));
  EXPECT_EQ(start + "No such file or directory\n", refusal("password: secret\n"));
  EXPECT_EQ(start + "File name too long\n", refusal(std::string(5000, 'x')));
}

TEST_F(Configs, EmptyTextsAndNullPointersAreRefused) {
  EXPECT_EQ("Ferrolink configuration: the source is empty\n", refusal(""));
  EXPECT_EQ("Ferrolink configuration: the source is empty\n", refusal(" \n"));
  EXPECT_EQ("Ferrolink configuration: the source is a null pointer\n",
            refusal("SetConfigSource", nullptr));
  EXPECT_EQ("Ferrolink configuration: the working directory is empty\n",
            refusal("SetWorkingDirectory", ""));
  EXPECT_EQ("Ferrolink configuration: the working directory is a null pointer\n",
            refusal("SetWorkingDirectory", nullptr));
}

TEST_F(Configs, ARefusedWorkingDirectoryLeavesTheFormerOne) {
  ASSERT_EQ(0, setDirectory(directory.path()));
  EXPECT_EQ(
      "Ferrolink configuration: the working directory: no directory /no/such: No such file or "
      "directory\n",
      refusal("SetWorkingDirectory", "/no/such"));
  EXPECT_EQ(
      "Ferrolink configuration: the working directory: no directory /dev/null: it is something "
      "else\n",
      refusal("SetWorkingDirectory", "/dev/null"));
  EXPECT_EQ(directory.path(), text("GetWorkingDirectory"));
}

}  // namespace
}  // namespace Ferrolink::Tests
