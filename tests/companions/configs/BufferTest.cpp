#include <filesystem>
#include <string>
#include <vector>

#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

TEST_F(Configs, AValueFillsABufferThatHasJustRoomForItAndItsEnd) {
  ASSERT_EQ(0, SetSource(R"({"proxy": {"host": "12345"}})"));
  std::string buffer(7, '#');
  EXPECT_EQ(5, Find<TextFunction>("GetProxyHost")(buffer.data(), 6));
  EXPECT_EQ(std::string("12345\0#", 7), buffer);
}

TEST_F(Configs, AValueThatDoesNotFitGivesAnErrorTextAsFarAsThatFits) {
  ASSERT_EQ(0, SetSource(R"({"proxy": {"host": "12345"}})"));
  std::string buffer(6, '#');
  EXPECT_EQ(-1, Find<TextFunction>("GetProxyHost")(buffer.data(), 5));
  EXPECT_EQ(std::string("/pro\0#", 6), buffer);
  EXPECT_EQ(-1, Find<TextFunction>("GetProxyHost")(buffer.data(), 1));
  EXPECT_EQ(std::string("\0pro\0#", 6), buffer);
}

TEST_F(Configs, AnErrorTextIsNotCutOffInsideACharacter) {
  ASSERT_EQ(0, SetSource(R"({"runtimes": {"jvm": {"ä": {"host": "12345678901234567890"}}}})"));
  std::string buffer(17, '#');
  EXPECT_EQ(-1, Find<ChannelTextFunction>("GetChannelHost")("jvm", "ä", buffer.data(), 16));
  EXPECT_EQ(std::string("/runtimes/jvm/\0##", 17), buffer);
}

TEST_F(Configs, AnErrorTextNamesTheValueThatDoesNotFit) {
  const std::string tooLong(8192, 'x');
  ASSERT_EQ(0, SetSource(R"({"proxy": {"host": ")" + tooLong + R"(", "username": ")" + tooLong +
                         R"(", "password": ")" + tooLong + R"(", "domain": ")" + tooLong +
                         R"("}, "runtimes": {"jvm": {"a/b": {"host": ")" + tooLong +
                         R"(", "runtimePath": "/)" + tooLong + R"("}}}})"));
  const std::string reason = ": the value does not fit into a buffer of 8192 bytes";
  EXPECT_EQ("error: the source" + reason, Text("GetConfigSource"));
  EXPECT_EQ("error: /proxy/host" + reason, Text("GetProxyHost"));
  EXPECT_EQ("error: /proxy/username" + reason, Text("GetProxyUsername"));
  EXPECT_EQ("error: /proxy/password" + reason, Text("GetProxyPassword"));
  EXPECT_EQ("error: /proxy/domain" + reason, Text("GetProxyDomain"));
  EXPECT_EQ("error: /runtimes/jvm/a~1b/host" + reason, Text("GetChannelHost", "jvm", "a/b"));
  EXPECT_EQ("error: /runtimes/jvm/a~1b/runtimePath" + reason,
            Text("GetChannelRuntimePath", "jvm", "a/b"));
  EXPECT_EQ("inMemory", Text("GetChannelType", "jvm", "a/b"));
}

TEST_F(Configs, ShortBuffersAreNamedForTheOtherValuesToo) {
  std::string buffer(100, '#');
  EXPECT_EQ(-1, Find<TextFunction>("GetLoggingLevel")(buffer.data(), 9));
  EXPECT_STREQ("/logging", buffer.c_str());
  std::filesystem::current_path(m_directory.MakeDirectory(std::string(150, 'd')));
  EXPECT_EQ(-1, Find<TextFunction>("GetWorkingDirectory")(buffer.data(), 100));
  EXPECT_STREQ("/workingDirectory: the value does not fit into a buffer of 100 bytes",
               buffer.c_str());
  EXPECT_EQ(-1, Find<ChannelTextFunction>("GetRuntimeName")(std::string(100, 'r').c_str(), "c",
                                                            buffer.data(), 20));
  EXPECT_STREQ("/runtimes/rrrrrrrrr", buffer.c_str());
  EXPECT_EQ(-1, Find<ChannelTextFunction>("GetChannelType")("jvm", "c", buffer.data(), 8));
  EXPECT_STREQ("/runtim", buffer.c_str());
}

TEST_F(Configs, WithoutABufferNothingIsWritten) {
  for (const char* name :
       {"GetConfigSource", "GetWorkingDirectory", "GetLoggingLevel", "GetProxyHost",
        "GetProxyUsername", "GetProxyPassword", "GetProxyDomain"}) {
    char byte = '#';
    EXPECT_EQ(-1, Find<TextFunction>(name)(nullptr, 8192)) << name;
    EXPECT_EQ(-1, Find<TextFunction>(name)(&byte, 0)) << name;
    EXPECT_EQ('#', byte) << name;
  }
  for (const char* name :
       {"GetRuntimeName", "GetChannelType", "GetChannelHost", "GetChannelRuntimePath"}) {
    char byte = '#';
    EXPECT_EQ(-1, Find<ChannelTextFunction>(name)("jvm", "default", nullptr, 8192)) << name;
    EXPECT_EQ(-1, Find<ChannelTextFunction>(name)("jvm", "default", &byte, 0)) << name;
    EXPECT_EQ('#', byte) << name;
  }
}

TEST_F(Configs, NullPointersForNamesAreRefused) {
  for (const char* name :
       {"GetRuntimeName", "GetChannelType", "GetChannelHost", "GetChannelRuntimePath"}) {
    EXPECT_EQ("error: the runtime name is a null pointer", Text(name, nullptr, "default")) << name;
    EXPECT_EQ("error: the configuration name is a null pointer", Text(name, "jvm", nullptr))
        << name;
  }
  EXPECT_EQ(-1, Port(nullptr, "default"));
  EXPECT_EQ(-1, Port("jvm", nullptr));
}

TEST_F(Configs, ALostCurrentDirectoryIsAnError) {
  const std::string lost = m_directory.MakeDirectory("lost");
  std::filesystem::current_path(lost);
  std::filesystem::remove(lost);
  const std::string reason = "the current directory is not known: No such file or directory";
  EXPECT_EQ("error: " + reason, Text("GetWorkingDirectory"));
  EXPECT_EQ("Ferrolink configuration: " + reason + "\n", Refusal("SetWorkingDirectory", "data"));
  EXPECT_EQ("Ferrolink configuration: JSON text: " + reason + "\n", Refusal("{}"));
}

}  // namespace
}  // namespace Ferrolink::Tests
