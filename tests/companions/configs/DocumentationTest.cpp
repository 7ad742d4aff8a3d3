#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

// The only block of JSON in the document.
std::string ExampleInTheDocument() {
  const std::string document = ContentOf(FERROLINK_CONFIGURATION_DOCUMENT);
  const std::string opening = "```json\n";
  const std::size_t begin = document.find(opening);
  const std::size_t end = document.find("```", begin + opening.size());
  EXPECT_NE(std::string::npos, begin);
  EXPECT_NE(std::string::npos, end);
  EXPECT_EQ(std::string::npos, document.find(opening, end));
  return document.substr(begin + opening.size(), end - begin - opening.size());
}

TEST_F(Configs, TheDocumentedExampleMeansWhatItSays) {
  const std::string data = m_directory.MakeDirectory("data");
  ASSERT_EQ(0, SetSource(m_directory.Write("example.json", ExampleInTheDocument())));

  EXPECT_EQ(data, Text("GetWorkingDirectory"));
  EXPECT_EQ("all", Text("GetLoggingLevel"));
  EXPECT_EQ(1, Number("ProxyExists"));
  EXPECT_EQ("proxy.example", Text("GetProxyHost"));
  EXPECT_EQ(3128, Number("GetProxyPort"));
  EXPECT_EQ("ferro", Text("GetProxyUsername"));
  EXPECT_EQ("secret", Text("GetProxyPassword"));
  EXPECT_EQ("EXAMPLE", Text("GetProxyDomain"));

  EXPECT_EQ("jvm", Text("GetRuntimeName", "jvm", "default"));
  EXPECT_EQ("inMemory", Text("GetChannelType", "jvm", "default"));
  EXPECT_EQ("", Text("GetChannelHost", "jvm", "default"));
  EXPECT_EQ(-1, Port("jvm", "default"));
  EXPECT_EQ("/usr/lib/jvm/default-java", Text("GetChannelRuntimePath", "jvm", "default"));

  EXPECT_EQ("jvm", Text("GetRuntimeName", "jvm", "remote"));
  EXPECT_EQ("tcpTls", Text("GetChannelType", "jvm", "remote"));
  EXPECT_EQ("jvm.example", Text("GetChannelHost", "jvm", "remote"));
  EXPECT_EQ(8083, Port("jvm", "remote"));
  EXPECT_EQ("", Text("GetChannelRuntimePath", "jvm", "remote"));
}

}  // namespace
}  // namespace Ferrolink::Tests
