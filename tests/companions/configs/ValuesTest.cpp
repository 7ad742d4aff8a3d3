#include <filesystem>

#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

namespace fs = std::filesystem;

TEST_F(Configs, WithoutASourceEveryValueHasItsDefault) {
  EXPECT_EQ("", Text("GetConfigSource"));
  EXPECT_EQ(fs::current_path().string(), Text("GetWorkingDirectory"));
  EXPECT_EQ("runtimeinfo", Text("GetLoggingLevel"));
  EXPECT_EQ(0, Number("ProxyExists"));
  EXPECT_EQ(-1, Number("GetProxyPort"));
  EXPECT_EQ("", Text("GetProxyHost"));
  EXPECT_EQ("", Text("GetProxyUsername"));
  EXPECT_EQ("", Text("GetProxyPassword"));
  EXPECT_EQ("", Text("GetProxyDomain"));
  EXPECT_EQ("Jvm", Text("GetRuntimeName", "Jvm", "default"));
  EXPECT_EQ("inMemory", Text("GetChannelType", "jvm", "default"));
  EXPECT_EQ("", Text("GetChannelHost", "jvm", "default"));
  EXPECT_EQ(-1, Port("jvm", "default"));
  EXPECT_EQ("", Text("GetChannelRuntimePath", "jvm", "default"));
}

TEST_F(Configs, AnEmptyObjectIsASourceWithDefaults) {
  EXPECT_EQ(0, SetSource("{}"));
  EXPECT_EQ("{}", Text("GetConfigSource"));
  EXPECT_EQ("runtimeinfo", Text("GetLoggingLevel"));
  EXPECT_EQ(0, Number("ProxyExists"));
}

TEST_F(Configs, JsonTextMayBeginWithBlanksAndAByteOrderMark) {
  EXPECT_EQ(0, SetSource(" \r\n\t{\"loggingLevel\": \"all\"}\n"));
  EXPECT_EQ(" \r\n\t{\"loggingLevel\": \"all\"}\n", Text("GetConfigSource"));
  EXPECT_EQ("all", Text("GetLoggingLevel"));
  EXPECT_EQ(0, SetSource("\xEF\xBB\xBF{\"loggingLevel\": \"off\"}"));
  EXPECT_EQ("off", Text("GetLoggingLevel"));
}

TEST(ConfigsLibrary, KeepsTheConfigurationWhenItIsClosedAndOpenedAgain) {
  {
    const SharedLibrary library("libConfigs.so");
    ASSERT_EQ(0, library.Find<int(const char*)>("SetConfigSource")(R"({"proxy": {"host": "h"}})"));
  }
  const SharedLibrary library("libConfigs.so");
  EXPECT_EQ(1, library.Find<int()>("ProxyExists")());
}

TEST_F(Configs, AFileIsReadOnceAndItsPathIsTheSource) {
  const std::string path = m_directory.Write("app.json", R"({"proxy": {"host": "first.example"}})");
  EXPECT_EQ(0, SetSource(path));
  static_cast<void>(m_directory.Write("app.json", R"({"proxy": {"host": "second.example"}})"));
  EXPECT_EQ(path, Text("GetConfigSource"));
  EXPECT_EQ("first.example", Text("GetProxyHost"));
  EXPECT_EQ(0, SetSource(path));
  EXPECT_EQ("second.example", Text("GetProxyHost"));
}

TEST_F(Configs, ARelativePathOfASourceCountsFromTheCurrentDirectory) {
  const std::string data = m_directory.MakeDirectory("data");
  static_cast<void>(m_directory.Write("app.json", R"({"workingDirectory": "data"})"));
  fs::current_path(m_directory.Path());
  EXPECT_EQ(0, SetSource("./app.json"));
  EXPECT_EQ("./app.json", Text("GetConfigSource"));
  EXPECT_EQ(data, Text("GetWorkingDirectory"));
}

TEST_F(Configs, ALaterSourceReplacesAllOfAnEarlierOne) {
  EXPECT_EQ(0, SetSource(R"({"loggingLevel": "all", "proxy": {"host": "h", "port": 1}})"));
  EXPECT_EQ(1, Number("ProxyExists"));
  EXPECT_EQ(1, Number("GetProxyPort"));
  EXPECT_EQ(0, SetSource(R"({"runtimes": {"jvm": {"default": {"port": 65535}}}})"));
  EXPECT_EQ("runtimeinfo", Text("GetLoggingLevel"));
  EXPECT_EQ(0, Number("ProxyExists"));
  EXPECT_EQ(-1, Number("GetProxyPort"));
  EXPECT_EQ(65535, Port("jvm", "default"));
}

TEST_F(Configs, WordsCountInAnyCaseAndAreReturnedInOne) {
  EXPECT_EQ(0, SetSource(R"({"loggingLevel": "RuntimeInfo",
                             "runtimes": {"jvm": {"a": {"channel": "TCPTLS", "host": "h", "port": 1},
                                                  "b": {"channel": "INMEMORY"}}}})"));
  EXPECT_EQ("runtimeinfo", Text("GetLoggingLevel"));
  EXPECT_EQ("tcpTls", Text("GetChannelType", "jvm", "a"));
  EXPECT_EQ("inMemory", Text("GetChannelType", "jvm", "b"));
}

TEST_F(Configs, RuntimeNamesCountInAnyCaseConfigurationNamesAsWritten) {
  EXPECT_EQ(0,
            SetSource(R"({"runtimes": {"JVM": {"Main": {"runtimeName": "Python", "port": 7}}}})"));
  EXPECT_EQ(7, Port("jvm", "Main"));
  EXPECT_EQ(7, Port("Jvm", "Main"));
  EXPECT_EQ(-1, Port("jvm", "main"));
  EXPECT_EQ(-1, Port("python", "Main"));
  EXPECT_EQ("Python", Text("GetRuntimeName", "jVM", "Main"));
  EXPECT_EQ("jVM", Text("GetRuntimeName", "jVM", "main"));
}

TEST_F(Configs, TextsBeyondAsciiAndConfigurationNamesWithSlashesWork) {
  EXPECT_EQ(0, SetSource(R"({"runtimes": {"jvm": {"a/b~c": {"host": "h\u00f6st.example"}}}})"));
  EXPECT_EQ("höst.example", Text("GetChannelHost", "jvm", "a/b~c"));
}

TEST_F(Configs, RelativePathsInAFileCountFromItsDirectory) {
  const std::string data = m_directory.MakeDirectory("data");
  const std::string path = m_directory.Write(
      "app.json",
      R"({"workingDirectory": "./data/", "runtimes": {"jvm": {"default": {"runtimePath": "jdk/../jre"},
          "other": {"runtimePath": "/opt/jdk"}}}})");
  EXPECT_EQ(0, SetSource(path));
  EXPECT_EQ(data, Text("GetWorkingDirectory"));
  EXPECT_EQ(m_directory.Path("jdk/../jre"), Text("GetChannelRuntimePath", "jvm", "default"));
  EXPECT_EQ("/opt/jdk", Text("GetChannelRuntimePath", "jvm", "other"));
}

TEST_F(Configs, RelativePathsInATextCountFromTheCurrentDirectoryWhenItIsSet) {
  fs::current_path(m_directory.Path());
  EXPECT_EQ(0, SetSource(R"({"workingDirectory": ".",
                             "runtimes": {"jvm": {"default": {"runtimePath": "jdk"}}}})"));
  fs::current_path("/");
  EXPECT_EQ(m_directory.Path(), Text("GetWorkingDirectory"));
  EXPECT_EQ(m_directory.Path("jdk"), Text("GetChannelRuntimePath", "jvm", "default"));
}

TEST_F(Configs, TheDefaultWorkingDirectoryFollowsTheProcess) {
  fs::current_path(m_directory.Path());
  EXPECT_EQ(m_directory.Path(), Text("GetWorkingDirectory"));
  fs::current_path("/");
  EXPECT_EQ("/", Text("GetWorkingDirectory"));
}

TEST_F(Configs, SetWorkingDirectoryWinsOverEarlierAndLaterSources) {
  const std::string data = m_directory.MakeDirectory("data");
  EXPECT_EQ(0, SetSource(R"({"workingDirectory": "/"})"));
  EXPECT_EQ("/", Text("GetWorkingDirectory"));
  fs::current_path(m_directory.Path());
  EXPECT_EQ(0, SetDirectory("data"));
  fs::current_path("/");
  EXPECT_EQ(data, Text("GetWorkingDirectory"));
  EXPECT_EQ(0, SetSource(R"({"workingDirectory": "/"})"));
  EXPECT_EQ(data, Text("GetWorkingDirectory"));
  EXPECT_EQ(0, SetDirectory(m_directory.Path()));
  EXPECT_EQ(m_directory.Path(), Text("GetWorkingDirectory"));
}

}  // namespace
}  // namespace Ferrolink::Tests
