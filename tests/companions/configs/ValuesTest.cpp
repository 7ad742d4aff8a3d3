#include <filesystem>

#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

namespace fs = std::filesystem;

TEST_F(Configs, WithoutASourceEveryValueHasItsDefault) {
  EXPECT_EQ("", text("GetConfigSource"));
  EXPECT_EQ(fs::current_path().string(), text("GetWorkingDirectory"));
  EXPECT_EQ("runtimeinfo", text("GetLoggingLevel"));
  EXPECT_EQ(0, number("ProxyExists"));
  EXPECT_EQ(-1, number("GetProxyPort"));
  EXPECT_EQ("", text("GetProxyHost"));
  EXPECT_EQ("", text("GetProxyUsername"));
  EXPECT_EQ("", text("GetProxyPassword"));
  EXPECT_EQ("", text("GetProxyDomain"));
  EXPECT_EQ("Jvm", text("GetRuntimeName", "Jvm", "default"));
  EXPECT_EQ("inMemory", text("GetChannelType", "jvm", "default"));
  EXPECT_EQ("", text("GetChannelHost", "jvm", "default"));
  EXPECT_EQ(-1, port("jvm", "default"));
  EXPECT_EQ("", text("GetChannelRuntimePath", "jvm", "default"));
}

TEST_F(Configs, AnEmptyObjectIsASourceWithDefaults) {
  EXPECT_EQ(0, setSource("{}"));
  EXPECT_EQ("{}", text("GetConfigSource"));
  EXPECT_EQ("runtimeinfo", text("GetLoggingLevel"));
  EXPECT_EQ(0, number("ProxyExists"));
}

TEST_F(Configs, JsonTextMayBeginWithBlanksAndAByteOrderMark) {
  EXPECT_EQ(0, setSource(" \r\n\t{\"loggingLevel\": \"all\"}\n"));
  EXPECT_EQ(" \r\n\t{\"loggingLevel\": \"all\"}\n", text("GetConfigSource"));
  EXPECT_EQ("all", text("GetLoggingLevel"));
  EXPECT_EQ(0, setSource("\xEF\xBB\xBF{\"loggingLevel\": \"off\"}"));
  EXPECT_EQ("off", text("GetLoggingLevel"));
}

TEST(ConfigsLibrary, KeepsTheConfigurationWhenItIsClosedAndOpenedAgain) {
  {
    const SharedLibrary library("libConfigs.so");
    ASSERT_EQ(0, library.find<int(const char*)>("SetConfigSource")(R"({"proxy": {"host": "h"}})"));
  }
  const SharedLibrary library("libConfigs.so");
  EXPECT_EQ(1, library.find<int()>("ProxyExists")());
}

TEST_F(Configs, AFileIsReadOnceAndItsPathIsTheSource) {
  const std::string path = directory.write("app.json", R"({"proxy": {"host": "first.example"}})");
  EXPECT_EQ(0, setSource(path));
  static_cast<void>(directory.write("app.json", R"({"proxy": {"host": "second.example"}})"));
  EXPECT_EQ(path, text("GetConfigSource"));
  EXPECT_EQ("first.example", text("GetProxyHost"));
  EXPECT_EQ(0, setSource(path));
  EXPECT_EQ("second.example", text("GetProxyHost"));
}

TEST_F(Configs, ARelativePathOfASourceCountsFromTheCurrentDirectory) {
  const std::string data = directory.makeDirectory("data");
  static_cast<void>(directory.write("app.json", R"({"workingDirectory": "data"})"));
  fs::current_path(directory.path());
  EXPECT_EQ(0, setSource("./app.json"));
  EXPECT_EQ("./app.json", text("GetConfigSource"));
  EXPECT_EQ(data, text("GetWorkingDirectory"));
}

TEST_F(Configs, ALaterSourceReplacesAllOfAnEarlierOne) {
  EXPECT_EQ(0, setSource(R"({"loggingLevel": "all", "proxy": {"host": "h", "port": 1}})"));
  EXPECT_EQ(1, number("ProxyExists"));
  EXPECT_EQ(1, number("GetProxyPort"));
  EXPECT_EQ(0, setSource(R"({"runtimes": {"jvm": {"default": {"port": 65535}}}})"));
  EXPECT_EQ("runtimeinfo", text("GetLoggingLevel"));
  EXPECT_EQ(0, number("ProxyExists"));
  EXPECT_EQ(-1, number("GetProxyPort"));
  EXPECT_EQ(65535, port("jvm", "default"));
}

TEST_F(Configs, WordsCountInAnyCaseAndAreReturnedInOne) {
  EXPECT_EQ(0, setSource(R"({"loggingLevel": "RuntimeInfo",
                             "runtimes": {"jvm": {"a": {"channel": "TCPTLS", "host": "h", "port": 1},
                                                  "b": {"channel": "INMEMORY"}}}})"));
  EXPECT_EQ("runtimeinfo", text("GetLoggingLevel"));
  EXPECT_EQ("tcpTls", text("GetChannelType", "jvm", "a"));
  EXPECT_EQ("inMemory", text("GetChannelType", "jvm", "b"));
}

TEST_F(Configs, RuntimeNamesCountInAnyCaseConfigurationNamesAsWritten) {
  EXPECT_EQ(0,
            setSource(R"({"runtimes": {"JVM": {"Main": {"runtimeName": "Python", "port": 7}}}})"));
  EXPECT_EQ(7, port("jvm", "Main"));
  EXPECT_EQ(7, port("Jvm", "Main"));
  EXPECT_EQ(-1, port("jvm", "main"));
  EXPECT_EQ(-1, port("python", "Main"));
  EXPECT_EQ("Python", text("GetRuntimeName", "jVM", "Main"));
  EXPECT_EQ("jVM", text("GetRuntimeName", "jVM", "main"));
}

TEST_F(Configs, TextsBeyondAsciiAndConfigurationNamesWithSlashesWork) {
  EXPECT_EQ(0, setSource(R"({"runtimes": {"jvm": {"a/b~c": {"host": "h\u00f6st.example"}}}})"));
  EXPECT_EQ("höst.example", text("GetChannelHost", "jvm", "a/b~c"));
}

TEST_F(Configs, RelativePathsInAFileCountFromItsDirectory) {
  const std::string data = directory.makeDirectory("data");
  const std::string path = directory.write(
      "app.json",
      R"({"workingDirectory": "./data/", "runtimes": {"jvm": {"default": {"runtimePath": "jdk/../jre"},
          "other": {"runtimePath": "/opt/jdk"}}}})");
  EXPECT_EQ(0, setSource(path));
  EXPECT_EQ(data, text("GetWorkingDirectory"));
  EXPECT_EQ(directory.path("jdk/../jre"), text("GetChannelRuntimePath", "jvm", "default"));
  EXPECT_EQ("/opt/jdk", text("GetChannelRuntimePath", "jvm", "other"));
}

TEST_F(Configs, RelativePathsInATextCountFromTheCurrentDirectoryWhenItIsSet) {
  fs::current_path(directory.path());
  EXPECT_EQ(0, setSource(R"({"workingDirectory": ".",
                             "runtimes": {"jvm": {"default": {"runtimePath": "jdk"}}}})"));
  fs::current_path("/");
  EXPECT_EQ(directory.path(), text("GetWorkingDirectory"));
  EXPECT_EQ(directory.path("jdk"), text("GetChannelRuntimePath", "jvm", "default"));
}

TEST_F(Configs, TheDefaultWorkingDirectoryFollowsTheProcess) {
  fs::current_path(directory.path());
  EXPECT_EQ(directory.path(), text("GetWorkingDirectory"));
  fs::current_path("/");
  EXPECT_EQ("/", text("GetWorkingDirectory"));
}

TEST_F(Configs, SetWorkingDirectoryWinsOverEarlierAndLaterSources) {
  const std::string data = directory.makeDirectory("data");
  EXPECT_EQ(0, setSource(R"({"workingDirectory": "/"})"));
  EXPECT_EQ("/", text("GetWorkingDirectory"));
  fs::current_path(directory.path());
  EXPECT_EQ(0, setDirectory("data"));
  fs::current_path("/");
  EXPECT_EQ(data, text("GetWorkingDirectory"));
  EXPECT_EQ(0, setSource(R"({"workingDirectory": "/"})"));
  EXPECT_EQ(data, text("GetWorkingDirectory"));
  EXPECT_EQ(0, setDirectory(directory.path()));
  EXPECT_EQ(directory.path(), text("GetWorkingDirectory"));
}

}  // namespace
}  // namespace Ferrolink::Tests
