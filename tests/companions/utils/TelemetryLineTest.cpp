#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "tests/companions/utils/TelemetryFixture.h"

namespace Ferrolink::Tests {
namespace {

TEST_F(Telemetry, AnEventIsOneLineOfJsonWithItsTextsTimeThreadAndProcess) {
  Log("Native exception", "it broke", "Jvm");

  ASSERT_EQ(1U, Lines().size());
  const std::string time = nlohmann::json::parse(Lines()[0])["time"];
  EXPECT_EQ(
      R"({"time":")" + time +
          R"(","category":"Native exception","message":"it broke","context":"Jvm","thread":)" +
          std::to_string(gettid()) + R"(,"process":)" + std::to_string(getpid()) + "}",
      Lines()[0]);
  std::string form = time;
  std::replace_if(
      form.begin(), form.end(), [](char letter) { return letter >= '0' && letter <= '9'; }, '0');
  EXPECT_EQ("0000-00-00T00:00:00.000Z", form);
}

TEST_F(Telemetry, TheThreadIsTheOneThatLogs) {
  pid_t thread = 0;
  std::thread([&] {
    thread = gettid();
    Log("a", "b", "c");
  }).join();
  ASSERT_EQ(1U, Lines().size());
  EXPECT_NE(getpid(), thread);
  EXPECT_EQ(thread, nlohmann::json::parse(Lines()[0])["thread"].get<int>());
}

TEST_F(Telemetry, TheTimeIsUtcWhateverTheLocalTimeZoneIs) {
  setenv("TZ", "Pacific/Kiritimati", 1);
  tzset();
  const std::time_t before = std::time(nullptr);
  Log("a", "b", "c");
  const std::time_t after = std::time(nullptr);

  std::tm utc{};
  const std::string time = nlohmann::json::parse(Lines().at(0))["time"];
  ASSERT_NE(nullptr, strptime(time.c_str(), "%Y-%m-%dT%H:%M:%S", &utc));
  EXPECT_LE(before, timegm(&utc));
  EXPECT_GE(after, timegm(&utc));
}

TEST_F(Telemetry, EventsAreAppendedInOrder) {
  Log("a", "first", "");
  Log("a", "second", "");
  ASSERT_EQ(2U, Lines().size());
  EXPECT_EQ("first", nlohmann::json::parse(Lines()[0])["message"]);
  EXPECT_EQ("second", nlohmann::json::parse(Lines()[1])["message"]);
}

TEST_F(Telemetry, NullPointersCountAsEmptyTexts) {
  Log(nullptr, nullptr, nullptr);
  ASSERT_EQ(1U, Lines().size());
  const auto event = nlohmann::json::parse(Lines()[0]);
  EXPECT_EQ("", event["category"]);
  EXPECT_EQ("", event["message"]);
  EXPECT_EQ("", event["context"]);
}

TEST_F(Telemetry, NoTextCanForgeALineOrSteerATerminal) {
  const char* forged =
      "x\r\n{\"time\":\"forged\"}\n\x1b[2J\x7f\t\xc2\x85\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xae";
  Log(forged, forged, forged);

  ASSERT_EQ(1U, Lines().size());
  const std::string escaped =
      R"("x\r\n{\"time\":\"forged\"}\n\u001b[2J\u007f\t\u0085\u2028\u2029\u202e")";
  EXPECT_NE(std::string::npos, Lines()[0].find("\"category\":" + escaped + ",\"message\":" +
                                               escaped + ",\"context\":" + escaped + ","))
      << Lines()[0];
  EXPECT_EQ(forged, nlohmann::json::parse(Lines()[0])["message"].get<std::string>());
}

TEST_F(Telemetry, WhatIsNotUtf8IsReplaced) {
  Log("a\xff"
      "b",
      "\xc3", "\xed\xa0\x80");
  ASSERT_EQ(1U, Lines().size());
  EXPECT_NE(std::string::npos, Lines()[0].find(R"("category":"a\ufffdb","message":"\ufffd",)"))
      << Lines()[0];
}

TEST_F(Telemetry, TextsBeyondAsciiArriveAsTheyAre) {
  Log("Größe", "日本", "😀");
  const auto event = nlohmann::json::parse(Lines().at(0));
  EXPECT_EQ("Größe", event["category"]);
  EXPECT_EQ("日本", event["message"]);
  EXPECT_EQ("😀", event["context"]);
}

TEST_F(Telemetry, ErrnoStaysAsItWas) {
  errno = ENOTTY;
  Log("a", "b", "c");
  EXPECT_EQ(ENOTTY, errno);
  WriteTo(m_directory.Path("missing/events.jsonl"));
  errno = ENOTTY;
  Log("a", "b", "c");
  EXPECT_EQ(ENOTTY, errno);
}

}  // namespace
}  // namespace Ferrolink::Tests
