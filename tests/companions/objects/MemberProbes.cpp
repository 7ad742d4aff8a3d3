// Classes, constructors, fields and methods.
#include "tests/companions/objects/Probe.h"

using namespace Ferrolink::Tests;
using namespace Ferrolink::Objects;

namespace {

const std::string kProbes = TestClass("Probes");

template <class... Arguments>
std::string Chosen(const Java& java, std::string_view method, const Arguments&... arguments) {
  return java.CallStatic<std::string>(kProbes, method, arguments...);
}

PROBE(AConstructorIsChosenByItsArguments, "nothing|int 5|String five|Object []") {
  const auto made = [](const Object& object) { return object.Call<std::string>("made"); };
  return made(java.New(kProbes)) + "|" + made(java.New(kProbes, 5)) + "|" +
         made(java.New(kProbes, "five")) + "|" +
         made(java.New(kProbes, java.New("java.util.ArrayList")));
}

PROBE(AFieldIsReadAndWritten, "0 7 true") {
  const Object probes = java.New(kProbes);
  const int before = probes.Get<int>("x");
  probes.Set("x", 7);
  return Texts(before, probes.Get<int>("x"), probes.Get("text").IsNull());
}

PROBE(AFieldTakesValuesThatItsTypeHasRoomFor, "-5 65 9 6 text 3.500000") {
  const Object probes = java.New(kProbes);
  probes.Set("small", std::int8_t{-5});
  probes.Set("letter", u'A');
  probes.Set("wide", 9);
  probes.Set("boxed", 6);
  probes.Set("text", "text");
  probes.Set("numbers", std::vector<double>{3.5});
  return Texts(probes.Get<int>("small"), static_cast<int>(probes.Get<char16_t>("letter")),
               probes.Get<int>("wide"), probes.Get<int>("boxed"), probes.Get<std::string>("text"),
               probes.Get<std::vector<double>>("numbers").at(0));
}

PROBE(AStaticFieldIsReadAndWritten, "42 2147483647 second") {
  java.SetStatic(kProbes, "shared", "second");
  return Texts(java.GetStatic<int>(kProbes, "ANSWER"),
               java.GetStatic<int>("java.lang.Integer", "MAX_VALUE"),
               java.GetStatic<std::string>(kProbes, "shared"));
}

PROBE(AnOverloadForIntStandsBesideOneForObject, "int Object Object Object") {
  return Texts(Chosen(java, "of", 5), Chosen(java, "of", "text"), Chosen(java, "of", 5L),
               Chosen(java, "of", java.CallStatic("java.lang.Integer", "valueOf", 5)));
}

PROBE(ANumberIsWidenedToTheNearestType, "long long double double") {
  return Texts(Chosen(java, "wider", 5), Chosen(java, "wider", 5L), Chosen(java, "wider", 5.0F),
               Chosen(java, "wider", 5.0));
}

PROBE(NullIsForTheMostSpecificType, "String String") {
  return Texts(Chosen(java, "nullable", nullptr), Chosen(java, "nullable", std::optional<int>()));
}

PROBE(EachPrimitiveTypeFindsItsOverload, "byte -1|short -2|char \u20AC|float 0.5|boolean true") {
  return Chosen(java, "exact", std::int8_t{-1}) + "|" + Chosen(java, "exact", std::int16_t{-2}) +
         "|" + Chosen(java, "exact", u'\u20AC') + "|" + Chosen(java, "exact", 0.5F) + "|" +
         Chosen(java, "exact", true);
}

PROBE(AnIntIsBoxed, "Integer 5 Integer null") {
  return Texts(Chosen(java, "boxing", 5), Chosen(java, "boxing", nullptr));
}

PROBE(WideningComesBeforeBoxingAndVarargs, "widened boxed varargs varargs") {
  return Texts(Chosen(java, "phases", 5),
               Chosen(java, "phases", java.CallStatic("java.lang.Integer", "valueOf", 5)),
               Chosen(java, "phases"), Chosen(java, "phases", 1, 2));
}

PROBE(VarargsTakeNoneOneAndMany, "0: 1:a 3:a-2-true 2:x-y") {
  return Texts(Chosen(java, "join", "-"), Chosen(java, "join", "-", "a"),
               Chosen(java, "join", "-", "a", 2, true),
               Chosen(java, "join", "-", std::vector<std::string>{"x", "y"}));
}

PROBE(AnAmbiguousCallListsTheCandidates, "true true true") {
  try {
    return Chosen(java, "unclear", 1, 2);
  } catch (const ObjectError& error) {
    const std::string text = error.what();
    return Texts(error.Why() == ObjectError::Reason::NoOverload,
                 text.find("unclear(java.lang.Integer, java.lang.Object)") != std::string::npos,
                 text.find("unclear(java.lang.Object, java.lang.Integer)") != std::string::npos);
  }
}

PROBE(WhatFitsNoOverloadListsTheCandidates, "true true") {
  try {
    return Chosen(java, "boxing", "text");
  } catch (const ObjectError& error) {
    return Texts(error.Why() == ObjectError::Reason::NoOverload,
                 std::string(error.what()).find("boxing(java.lang.Integer)") != std::string::npos);
  }
}

std::string NotFound(const std::function<void()>& action) {
  try {
    action();
    return "found";
  } catch (const ObjectError& error) {
    return error.Why() == ObjectError::Reason::NotFound ? "missing" : error.what();
  }
}

PROBE(UnknownClassesAndMembersAreToldAsSuch, "missing missing missing missing missing missing") {
  return Texts(NotFound([&] { java.New("com.example.None"); }),
               NotFound([&] { java.FindClass("com.example.None"); }),
               NotFound([&] { Chosen(java, "none"); }),
               NotFound([&] { java.GetStatic(kProbes, "none"); }),
               NotFound([&] { java.New(kProbes).Call("none"); }),
               NotFound([&] { java.New(kProbes).Get("none"); }));
}

PROBE(EnumConstantsAreStaticFields, "RED blood grass 1 true") {
  const std::string color = kProbes + ".Color";
  const Object green = java.GetStatic(color, "GREEN");
  return Texts(java.GetStatic(color, "RED"), java.GetStatic(color, "RED").Call<std::string>("like"),
               green.Call<std::string>("like"), green.Call<int>("ordinal"),
               green.Equals(java.CallStatic(color, "valueOf", "GREEN")));
}

PROBE(NestedAndInnerClassesAreMade, "deep deep 14") {
  const Object outer = java.New(kProbes);
  outer.Set("x", 7);
  return Texts(java.New(kProbes + "$Nested$Deeper").Call<std::string>("where"),
               java.New(kProbes + ".Nested.Deeper").Call<std::string>("where"),
               java.New(kProbes + "$Inner", outer).Get<int>("twice"));
}

PROBE(AClassIsAnObjectToo, "java.lang.String int [[D 3 true") {
  const Object type = java.FindClass("java.lang.String");
  return Texts(type.Call<std::string>("getName"),
               java.FindClass("int").Call<std::string>("getName"),
               java.FindClass("double[][]").Call<std::string>("getName"),
               java.New(java.FindClass("java.lang.String"), "abc").Call<int>("length"),
               java.CallStatic<std::string>(type, "valueOf", true));
}

PROBE(AMethodOfAClassThatIsNotPublicIsTakenFromAPublicType, "1 2 k v") {
  const Object list = java.CallStatic("java.util.Arrays", "asList", 1, 2);
  const Object iterator = list.Call("iterator");
  const Object map = java.New("java.util.HashMap");
  map.Call("put", "k", "v");
  const Object entry = map.Call("entrySet").Call("iterator").Call("next");
  const int first = iterator.Call<int>("next");
  return Texts(first, iterator.Call<int>("next"), entry.Call<std::string>("getKey"),
               entry.Call<std::string>("getValue"));
}

// A bridge alone makes setLength public; append has a bridge for each of its results.
PROBE(ABridgeMethodIsCalledAndHidesNothing, "2 abd") {
  const Object builder = java.New("java.lang.StringBuilder", "abc");
  builder.Call("setLength", 2);
  const int length = builder.Call<int>("length");
  builder.Call("append", u'd');
  return Texts(length, builder.ToString());
}

PROBE(AStringAsObjectIsNoClassName, "true refused") {
  const Object name = java.New("java.lang.String", "java.util.ArrayList");
  const bool starts = name.Call<bool>("startsWith", "java");
  try {
    return Texts(starts, java.New(name));
  } catch (const ConversionError&) {
    return Texts(starts, "refused");
  }
}

PROBE(AMethodIsLookedUpOnce, "1 2 3.000000 0 true") {
  const Method<int(std::string_view)> indexOf(java, "java.lang.String", "indexOf");
  const StaticMethod<double(double, double)> max(java, "java.lang.Math", "max");
  const Object text = java.New("java.lang.String", "abx");
  const std::size_t known = java.LiveObjects().members;
  const Method<int(std::string_view)> again(java, java.FindClass("java.lang.String"), "indexOf");
  return Texts(indexOf(std::string("axb"), "x"), indexOf(text, "x"), max(1.0, 3.0),
               again(text, "a"), java.LiveObjects().members == known);
}

PROBE(ObjectsAreComparedHashedAndNamed, "true false false 97 true false java.util.ArrayList [a]") {
  const Object list = java.New("java.util.ArrayList");
  list.Call("add", "a");
  const Object same = java.CallStatic("java.util.Collections", "singletonList", "a");
  const Object text = java.New("java.lang.String", "a");
  return Texts(list.Equals(same), list.Equals(text), list.Equals(nullptr), text.HashCode(),
               list.InstanceOf("java.util.List"), list.InstanceOf("java.util.Map"),
               list.ClassName(), list.ToString());
}

PROBE(AClassIsDescribed, "true true true") {
  const std::string text = java.Describe(kProbes);
  return Texts(text.find("public " + kProbes + "(int);\n") != std::string::npos,
               text.find("public static java.lang.String of(int)") != std::string::npos,
               text.find("public int x;") != std::string::npos);
}

// TheHost has asked for the class before the archive was there.
PROBE(ClassesOfArchivesThatWereAddedLaterAreFound, "com.ferrolink.test.objects.Probes") {
  return java.FindClass(kProbes).Call<std::string>("getName");
}

PROBE(AVoidMethodGivesNull, "true true") {
  const Object list = java.New("java.util.ArrayList");
  return Texts(list.Call("clear").IsNull(), java.CallStatic(kProbes, "nothing").IsNull());
}

}  // namespace
