// The encoding of typed calls, byte for byte, without a JVM.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "tests/companions/objects/FakeBroker.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;
using testing::ElementsAre;

constexpr std::uint8_t kResolve = 1;
constexpr std::uint8_t kInvoke = 2;
constexpr std::uint8_t kValue = 7;

/// A broker that knows one class, keeps the last call, and gives scripted answers to calls and
/// values.
struct Fixture {
  Fixture()
      : broker([this](const BrokerRequest& request) -> Bytes {
          if (request.operation == kResolve) {
            return ByteList(U8(0), std::uint32_t{3});
          }
          if (request.operation == kInvoke || request.operation == kValue) {
            last = request.rest;
            return answer;
          }
          return HandleReply(0x100000001);
        }) {}

  Java TheJava() {
    FakePeer peer(broker);
    return Java(peer);
  }

  /// The encoding of an argument: the bytes of a call behind member, want, key, self and count.
  template <class T>
  Bytes Written(const T& argument) {
    TheJava().CallStatic<void>("C", "m", argument);
    return {last.begin() + 4 + 1 + 8 + 8 + 1, last.end()};
  }

  /// Decodes a value.
  template <class T>
  T Read(Bytes value) {
    answer = {0};
    answer.insert(answer.end(), value.begin(), value.end());
    return TheJava().CallStatic<T>("C", "m");
  }

  Bytes answer = VoidReply();
  Bytes last;
  FakeBroker broker;
};

// Never freed: the keepers of the sessions run on.
Fixture& NewFixture() {
  return *new Fixture;
}

TEST(ObjectsCodec, AnArgumentTravelsWithTheTagOfItsJavaType) {
  Fixture& f = NewFixture();
  EXPECT_EQ(f.Written(nullptr), Value(0));
  EXPECT_EQ(f.Written(false), Value(1));
  EXPECT_EQ(f.Written(true), Value(2));
  EXPECT_EQ(f.Written(std::int8_t{-1}), Value(3, U8(0xFF)));
  EXPECT_EQ(f.Written(std::int16_t{-2}), Value(4, U8(0xFE), U8(0xFF)));
  EXPECT_EQ(f.Written(u'\u20AC'), Value(5, U8(0xAC), U8(0x20)));
  EXPECT_EQ(f.Written(1), Value(6, U8(1), U8(0), U8(0), U8(0)));
  EXPECT_EQ(f.Written(2L), Value(7, std::int64_t{2}));
  EXPECT_EQ(f.Written(3LL), Value(7, std::int64_t{3}));
  EXPECT_EQ(f.Written(1.5F), Value(8, 1.5F));
  EXPECT_EQ(f.Written(2.5), Value(9, 2.5));
}

TEST(ObjectsCodec, ATextTravelsWithItsLengthWhateverHoldsIt) {
  Fixture& f = NewFixture();
  const Bytes text = ByteList(U8(10)).Text("a\xC3\xA9");
  EXPECT_EQ(f.Written("a\xC3\xA9"), text);
  EXPECT_EQ(f.Written(std::string("a\xC3\xA9")), text);
  EXPECT_EQ(f.Written(std::string_view("a\xC3\xA9")), text);
  const char* pointer = "a\xC3\xA9";
  EXPECT_EQ(f.Written(pointer), text);
  pointer = nullptr;
  EXPECT_EQ(f.Written(pointer), Value(0));
  EXPECT_EQ(f.Written(std::string("a\0b", 3)),
            ByteList(U8(10)).Text(std::string_view("a\0b", 3)).Get());
}

TEST(ObjectsCodec, AnOptionalTravelsAsItsValueOrAsNull) {
  Fixture& f = NewFixture();
  EXPECT_EQ(f.Written(std::optional<int>(1)), Value(6, std::int32_t{1}));
  EXPECT_EQ(f.Written(std::optional<int>()), Value(0));
  EXPECT_EQ(f.Written(std::optional<std::string>("x")), ByteList(U8(10)).Text("x").Get());
}

TEST(ObjectsCodec, PrimitivesInAVectorOrSpanTravelAsTheyLieInMemory) {
  Fixture& f = NewFixture();
  const std::vector<std::int16_t> shorts{1, -1};
  const Bytes expected = Value(12, U8(4), std::uint32_t{2}, std::int16_t{1}, std::int16_t{-1});
  EXPECT_EQ(f.Written(shorts), expected);
  EXPECT_EQ(f.Written(std::span<const std::int16_t>(shorts)), expected);
  EXPECT_EQ(f.Written(std::vector<bool>{true, false}),
            Value(12, U8(2), std::uint32_t{2}, U8(1), U8(0)));
  EXPECT_EQ(f.Written(std::vector<double>{}), Value(12, U8(9), std::uint32_t{0}));
}

TEST(ObjectsCodec, OtherArraysTravelWithTheirComponentType) {
  Fixture& f = NewFixture();
  EXPECT_EQ(f.Written(std::vector<std::string>{"x"}), ByteList(U8(13))
                                                          .Text("Ljava/lang/String;")
                                                          .Add(std::uint32_t{1})
                                                          .Add(U8(10))
                                                          .Text("x")
                                                          .Get());
  EXPECT_EQ(f.Written(std::vector<std::optional<std::string>>{std::nullopt}),
            ByteList(U8(13)).Text("Ljava/lang/String;").Add(std::uint32_t{1}).Add(U8(0)).Get());
  EXPECT_EQ(f.Written(std::vector<std::vector<std::int8_t>>{{5}}), ByteList(U8(13))
                                                                       .Text("[B")
                                                                       .Add(std::uint32_t{1})
                                                                       .Add(U8(12))
                                                                       .Add(U8(3))
                                                                       .Add(std::uint32_t{1})
                                                                       .Add(U8(5))
                                                                       .Get());
  EXPECT_EQ(f.Written(std::vector<Object>{Object()}),
            ByteList(U8(13)).Text("Ljava/lang/Object;").Add(std::uint32_t{1}).Add(U8(0)).Get());
}

TEST(ObjectsCodec, AnObjectTravelsAsItsHandleAndANullObjectAsNull) {
  Fixture& f = NewFixture();
  const Object object = f.Read<Object>(Value(11, std::uint64_t{0x500000002}, std::uint32_t{9}));
  f.answer = VoidReply();
  EXPECT_EQ(f.Written(object), Value(11, std::uint64_t{0x500000002}, std::uint32_t{0}));
  EXPECT_EQ(f.Written(Object()), Value(0));
}

TEST(ObjectsCodec, AResultIsReadAsTheTypeThatIsAskedFor) {
  Fixture& f = NewFixture();
  EXPECT_TRUE(f.Read<bool>(Value(2)));
  EXPECT_EQ(f.Read<std::int8_t>(Value(3, std::int8_t{-7})), -7);
  EXPECT_EQ(f.Read<char16_t>(Value(5, char16_t{0x20AC})), u'\u20AC');
  EXPECT_EQ(f.Read<std::int64_t>(Value(7, std::int64_t{1} << 40)), std::int64_t{1} << 40);
  EXPECT_EQ(f.Read<double>(Value(9, 2.5)), 2.5);
  EXPECT_EQ(f.Read<std::string>(ByteList(U8(10)).Text("text")), "text");
  EXPECT_EQ(f.Read<std::optional<std::string>>(Value(0)), std::nullopt);
  EXPECT_TRUE(f.Read<Object>(Value(0)).IsNull());
  EXPECT_THAT(f.Read<std::vector<bool>>(Value(12, U8(2), std::uint32_t{2}, U8(1), U8(0))),
              ElementsAre(true, false));
  EXPECT_THAT(
      f.Read<std::vector<std::int32_t>>(Value(12, U8(6), std::uint32_t{1}, std::int32_t{5})),
      ElementsAre(5));
  EXPECT_THAT(
      f.Read<std::vector<std::string>>(
          ByteList(U8(13)).Text("Ljava/lang/String;").Add(std::uint32_t{1}).Add(U8(10)).Text("x")),
      ElementsAre("x"));
}

TEST(ObjectsCodec, ANumberIsReadAsAnotherTypeIfItFits) {
  Fixture& f = NewFixture();
  EXPECT_EQ(f.Read<std::int8_t>(Value(7, std::int64_t{127})), 127);
  EXPECT_EQ(f.Read<std::int64_t>(Value(3, std::int8_t{-1})), -1);
  EXPECT_EQ(f.Read<int>(Value(5, char16_t{0xFFFF})), 0xFFFF);
  EXPECT_EQ(f.Read<double>(Value(6, std::int32_t{3})), 3.0);
  EXPECT_EQ(f.Read<float>(Value(9, 0.5)), 0.5F);
  EXPECT_EQ(f.Read<float>(Value(9, std::numeric_limits<double>::infinity())),
            std::numeric_limits<float>::infinity());
}

template <class T>
std::string Misfit(Fixture& f, Bytes value) {
  try {
    f.Read<T>(std::move(value));
    return "fits";
  } catch (const ConversionError& error) {
    EXPECT_TRUE(error.MayHaveExecuted());
    return error.what();
  }
}

TEST(ObjectsCodec, AValueThatDoesNotFitIsAnErrorThatNamesBothTypes) {
  Fixture& f = NewFixture();
  EXPECT_EQ(Misfit<std::int8_t>(f, Value(6, std::int32_t{128})),
            "The int 128 does not fit a C++ byte.");
  EXPECT_EQ(Misfit<int>(f, Value(9, 1.0)), "A value of kind double does not fit a C++ int.");
  EXPECT_EQ(Misfit<int>(f, ByteList(U8(10)).Text("1")),
            "A value of kind String does not fit a C++ int.");
  EXPECT_EQ(Misfit<int>(f, Value(0)), "A value of kind null does not fit a C++ int.");
  EXPECT_EQ(Misfit<float>(f, Value(9, 0.1)),
            "The double 0.100000 does not fit a C++ float without loss.");
  EXPECT_EQ(Misfit<bool>(f, Value(6, std::int32_t{1})),
            "A value of kind int does not fit a C++ boolean.");
  EXPECT_EQ(Misfit<char16_t>(f, Value(6, std::int32_t{1})),
            "A value of kind int does not fit a C++ char.");
  EXPECT_EQ(Misfit<std::string>(f, Value(5, char16_t{65})),
            "A value of kind char does not fit a C++ std::string.");
  EXPECT_EQ(Misfit<std::vector<std::int64_t>>(f, Value(12, U8(6), std::uint32_t{0})),
            "A value of kind array of primitives does not fit a C++ std::vector<long>.");
}

template <class T>
std::string Malformed(Fixture& f, Bytes value) {
  try {
    f.Read<T>(std::move(value));
    return "well formed";
  } catch (const Ferrolink::Host::ProtocolError& error) {
    return error.what();
  }
}

TEST(ObjectsCodec, LengthsAreComparedWithTheBytesThatAreLeft) {
  Fixture& f = NewFixture();
  const std::string suffix = ". Do both sides have the same version of Ferrolink?";
  EXPECT_EQ(
      Malformed<std::string>(f, Value(10, std::uint32_t{4}, U8(65))),
      "A typed call or its answer announces more elements than it has, at byte 6 of 7" + suffix);
  EXPECT_EQ(Malformed<int>(f, Value(6, U8(1))),
            "A typed call or its answer ends too early, at byte 2 of 3" + suffix);
  EXPECT_EQ(
      Malformed<std::vector<double>>(f, Value(12, U8(9), std::uint32_t{0xFFFFFFFF})),
      "A typed call or its answer announces more elements than it has, at byte 7 of 7" + suffix);
  EXPECT_EQ(
      Malformed<std::vector<std::string>>(
          f, ByteList(U8(13)).Text("[").Add(std::uint32_t{0x7FFFFFFF})),
      "A typed call or its answer announces more elements than it has, at byte 11 of 11" + suffix);
  EXPECT_EQ(Malformed<int>(f, Value(99)),
            "A typed call or its answer has a value of unknown kind 99, at byte 1 of 2" + suffix);
}

TEST(ObjectsCodec, ArraysNestAtMost32Deep) {
  Fixture& f = NewFixture();
  ByteList value;
  for (int level = 0; level < 34; ++level) {
    value.Add(U8(13)).Text("[").Add(std::uint32_t{1});
  }
  EXPECT_THAT(Malformed<int>(f, value), testing::HasSubstr("has arrays in arrays deeper than 32"));
}

}  // namespace
}  // namespace Ferrolink::Tests
