#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

class ConfigsEndpoint : public Configs {
 protected:
  [[nodiscard]] std::string Endpoint(const char* address) const {
    using AddressText = int(const char*, char*, std::size_t);
    std::array<char, 4096> buffer{};
    const int result = Find<AddressText>("GetEndpoint")(address, buffer.data(), buffer.size());
    return (result < 0 ? "error: " : "") + std::string(buffer.data());
  }

  // Why an endpoint with these members is refused.
  [[nodiscard]] std::string RefusalOf(const std::string& members,
                                      const std::string& address = "10.0.0.1:80") const {
    const std::string start = "Ferrolink configuration: JSON text: /endpoints/";
    const std::string line = Refusal("{\"endpoints\": {\"" + address + "\": {" + members + "}}}");
    return line.starts_with(start) ? line.substr(start.size()) : line;
  }

  [[nodiscard]] unsigned Revision() const { return Find<unsigned()>("GetConfigRevision")(); }
};

TEST_F(ConfigsEndpoint, IsGivenAsLinesOfKeysAndValues) {
  const std::string file = m_directory.Write("all.json", R"({"endpoints": {"10.0.0.1:8080": {
      "connect": ["db.example:8083", "[2001:db8::1]:1"], "name": "db.example",
      "authorities": "ca.pem", "revocationList": "/crl.pem", "certificate": "own/c.pem",
      "key": "own/k.pem", "tls": "Required", "connectTimeoutMs": 1, "maxFrameBytes": 2147483647,
      "callTimeoutMs": 4294967294, "unacknowledgedTimeoutMs": 3600000, "poolSize": 0},
      "10.0.0.2:80": {"connect": "one.example:65535"}, "10.0.0.3:80": {}}})");
  ASSERT_EQ(0, SetSource(file));
  EXPECT_EQ("connect=db.example:8083\nconnect=[2001:db8::1]:1\nname=db.example\nauthorities=" +
                m_directory.Path("ca.pem") + "\nrevocationList=/crl.pem\ncertificate=" +
                m_directory.Path("own/c.pem") + "\nkey=" + m_directory.Path("own/k.pem") +
                "\ntls=required\nconnectTimeoutMs=1\nmaxFrameBytes=2147483647\n"
                "callTimeoutMs=4294967294\nunacknowledgedTimeoutMs=3600000\npoolSize=0\n",
            Endpoint("10.0.0.1:8080"));
  EXPECT_EQ("connect=one.example:65535\n", Endpoint("10.0.0.2:80"));
  EXPECT_EQ("", Endpoint("10.0.0.3:80"));
  EXPECT_EQ("", Endpoint("10.0.0.4:80"));
  EXPECT_EQ("error: the address is a null pointer", Endpoint(nullptr));
}

TEST_F(ConfigsEndpoint, IsKnownByAnAddressAndAPort) {
  const std::string expected =
      ": expected an IPv4 address and a port as the key, such as \"10.0.0.1:8080\"\n";
  for (const std::string address : {"db.example:80", "10.0.0.1", "10.0.0.1:0", "10.0.0.1:080",
                                    "10.0.0.1:65536", "10.0.0.01:80", "::1:80", ""}) {
    EXPECT_EQ(address + expected, RefusalOf("", address));
  }
}

TEST_F(ConfigsEndpoint, IsRefusedWithItsPlaceWhereAValueIsWrong) {
  const std::string place = "10.0.0.1:80/";
  EXPECT_EQ(place + "name: expected a text that is not empty, got \"\"\n",
            RefusalOf(R"("name": "")"));
  EXPECT_EQ(place + "tls: expected one of \"required\", got \"off\"\n",
            RefusalOf(R"("tls": "off")"));
  EXPECT_EQ(place + "connect: expected at least one element\n", RefusalOf(R"("connect": [])"));
  for (const std::string target : {"db.example", ":80", "db.example:", "db.example:0", "::1:80",
                                   "[::1]", "[db]:80", "a b:80", "a:b:80"}) {
    EXPECT_EQ(
        place + "connect/1: expected \"host:port\" or \"[IPv6]:port\", got \"" + target + "\"\n",
        RefusalOf("\"connect\": [\"a:1\", \"" + target + "\"]"));
  }
  EXPECT_EQ(place + "poolSize: expected an integer 0 to 4096, got -1\n",
            RefusalOf(R"("poolSize": -1)"));
  EXPECT_EQ(place + "maxFrameBytes: expected an integer 1024 to 2147483647, got 1023\n",
            RefusalOf(R"("maxFrameBytes": 1023)"));
  EXPECT_EQ(place + "callTimeoutMs: expected an integer 1 to 4294967294, got 1.5\n",
            RefusalOf(R"("callTimeoutMs": 1.5)"));
  EXPECT_EQ("10.0.0.1:80: \"certificate\" and \"key\" need each other\n",
            RefusalOf(R"("certificate": "c")"));
  EXPECT_EQ("10.0.0.1:80: \"certificate\" and \"key\" need each other\n",
            RefusalOf(R"("key": "k")"));
}

TEST_F(ConfigsEndpoint, IsPartOfARevisionThatEachNewSourceChanges) {
  const unsigned first = Revision();
  EXPECT_EQ(first, Revision());
  EXPECT_EQ(0, SetSource("{}"));
  const unsigned second = Revision();
  EXPECT_NE(first, second);
  EXPECT_NE("", Refusal("{"));
  EXPECT_EQ(second, Revision());
}

}  // namespace
}  // namespace Ferrolink::Tests
