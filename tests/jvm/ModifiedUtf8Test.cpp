#include "jvm/ModifiedUtf8.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

const std::string kBad = "\xEF\xBF\xBD";  // U+FFFD

TEST(ModifiedUtf8, KeepsWhatBothFormsShare) {
  const std::string shared = "\x01 az\x7F \xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80";
  EXPECT_EQ(ToModifiedUtf8(shared), shared);
  EXPECT_EQ(ToModifiedUtf8("\xEF\xBF\xBF"), "\xEF\xBF\xBF");
  EXPECT_EQ(ToModifiedUtf8(""), "");
}

TEST(ModifiedUtf8, WritesAZeroByteAsTwoBytes) {
  EXPECT_EQ(ToModifiedUtf8("a\0b"s), "a\xC0\x80"s + "b");
}

TEST(ModifiedUtf8, WritesSupplementaryCharactersAsSurrogatePairs) {
  EXPECT_EQ(ToModifiedUtf8("\xF0\x90\x80\x80"), "\xED\xA0\x80\xED\xB0\x80");
  EXPECT_EQ(ToModifiedUtf8("\xF0\x9F\x98\x80"), "\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(ToModifiedUtf8("\xF4\x8F\xBF\xBF"), "\xED\xAF\xBF\xED\xBF\xBF");
}

TEST(ModifiedUtf8, ReplacesEachByteThatIsNoUtf8) {
  EXPECT_EQ(ToModifiedUtf8("a\x80"
                           "b"),
            "a" + kBad + "b");
  EXPECT_EQ(ToModifiedUtf8("\xFE\xFF"), kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xC3"), kBad);
  EXPECT_EQ(ToModifiedUtf8("\xC3"
                           "a"),
            kBad + "a");
  EXPECT_EQ(ToModifiedUtf8("\xE2\x82"), kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xF0\x9F\x98"
                           "a"),
            kBad + kBad + kBad + "a");
}

TEST(ModifiedUtf8, ReplacesOverlongFormsAndWhatLiesBeyondUnicode) {
  EXPECT_EQ(ToModifiedUtf8("\xC1\xBF"), kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xE0\x9F\xBF"), kBad + kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xF0\x8F\xBF\xBF"), kBad + kBad + kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xF4\x90\x80\x80"), kBad + kBad + kBad + kBad);
  EXPECT_EQ(ToModifiedUtf8("\xF5\x80\x80\x80"), kBad + kBad + kBad + kBad);
}

TEST(ModifiedUtf8, LeavesWhatIsModifiedAlreadyAsItIs) {
  for (const char* modified : {"a\xC0\x80", "\xED\xA0\xBD\xED\xB8\x80", "\xED\xA0\x80",
                               "\xED\xBF\xBF", "\xED\xB8\x80\xED\xA0\xBD"}) {
    EXPECT_EQ(ToModifiedUtf8(modified), modified);
  }
}

TEST(ModifiedUtf8, BecomesUtf8WithPairsJoined) {
  EXPECT_EQ(FromModifiedUtf8(""), "");
  EXPECT_EQ(FromModifiedUtf8("a\xC3\xA4\xE2\x82\xAC"), "a\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(FromModifiedUtf8("\xED\xA0\x80\xED\xB0\x80"), "\xF0\x90\x80\x80");
  EXPECT_EQ(FromModifiedUtf8("-\xED\xA0\xBD\xED\xB8\x80-"), "-\xF0\x9F\x98\x80-");
  EXPECT_EQ(FromModifiedUtf8("\xED\xAF\xBF\xED\xBF\xBF"), "\xF4\x8F\xBF\xBF");
}

TEST(ModifiedUtf8, BecomesUtf8WithTheRestAsItIs) {
  for (const char* text :
       {"a\xC0\x80z", "\xED\xA0\xBD", "\xED\xA0\xBDz", "\xED\xB8\x80\xED\xA0\xBD",
        "\xED\xA0\xBD\xED\xA0\xBD", "\xED\xA0", "\xFF"}) {
    EXPECT_EQ(FromModifiedUtf8(text), text);
  }
}

}  // namespace
