#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

// The only block of JSON in the document.
std::string exampleInTheDocument() {
  const std::string document = contentOf(FERROLINK_CONFIGURATION_DOCUMENT);
  const std::string opening = "```json\n";
  const std::size_t begin = document.find(opening);
  const std::size_t end = document.find("```", begin + opening.size());
  EXPECT_NE(std::string::npos, begin);
  EXPECT_NE(std::string::npos, end);
  EXPECT_EQ(std::string::npos, document.find(opening, end));
  return document.substr(begin + opening.size(), end - begin - opening.size());
}

TEST_F(Configs, TheDocumentedExampleMeansWhatItSays) {
  const std::string data = directory.makeDirectory("data");
  ASSERT_EQ(0, setSource(directory.write("example.json", exampleInTheDocument())));

  EXPECT_EQ(data, text("GetWorkingDirectory"));
  EXPECT_EQ("all", text("GetLoggingLevel"));
  EXPECT_EQ(1, number("ProxyExists"));
  EXPECT_EQ("proxy.example", text("GetProxyHost"));
  EXPECT_EQ(3128, number("GetProxyPort"));
  EXPECT_EQ("ferro", text("GetProxyUsername"));
  EXPECT_EQ("secret", text("GetProxyPassword"));
  EXPECT_EQ("EXAMPLE", text("GetProxyDomain"));

  EXPECT_EQ("jvm", text("GetRuntimeName", "jvm", "default"));
  EXPECT_EQ("inMemory", text("GetChannelType", "jvm", "default"));
  EXPECT_EQ("", text("GetChannelHost", "jvm", "default"));
  EXPECT_EQ(-1, port("jvm", "default"));
  EXPECT_EQ("/usr/lib/jvm/default-java", text("GetChannelRuntimePath", "jvm", "default"));

  EXPECT_EQ("jvm", text("GetRuntimeName", "jvm", "remote"));
  EXPECT_EQ("tcpTls", text("GetChannelType", "jvm", "remote"));
  EXPECT_EQ("jvm.example", text("GetChannelHost", "jvm", "remote"));
  EXPECT_EQ(8083, port("jvm", "remote"));
  EXPECT_EQ("", text("GetChannelRuntimePath", "jvm", "remote"));
}

}  // namespace
}  // namespace Ferrolink::Tests
