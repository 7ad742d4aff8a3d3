#include "native/RuntimeNameHandler.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

using Ferrolink::Native::RuntimeNameHandler::RuntimeNameHandler;

TEST(RuntimeNameHandler, NamesEveryRuntimeAndItsLibraryExactly) {
  const std::map<int, std::string> names = {
      {0, "Clr"},  {1, "Go"},     {2, "Jvm"}, {3, "Netcore"}, {4, "Perl"},    {5, "Python"},
      {6, "Ruby"}, {7, "Nodejs"}, {8, "Cpp"}, {9, "Php"},     {10, "Python2"}};
  for (const auto& [id, name] : names) {
    EXPECT_EQ(RuntimeNameHandler::GetRuntimeName(id), name);
    EXPECT_EQ(RuntimeNameHandler::getRuntimeLibraryName(id),
              "libFerrolink" + name + "RuntimeNative.so");
  }
}

TEST(RuntimeNameHandler, CallsIdentifiersOutsideTheTableUnknown) {
  for (const int id : {11, 255, -1}) {
    EXPECT_EQ(RuntimeNameHandler::GetRuntimeName(id), "Unknown");
    EXPECT_EQ(RuntimeNameHandler::getRuntimeLibraryName(id), "Unknown");
  }
}
