// Typed functions of a plug-in library, in a process that Java started.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <ferrolink/Objects.h>

#include <thread>

namespace {

using Ferrolink::Cpp::Caller;
using namespace Ferrolink::Objects;

// The outcome of a typed call before the program answers commands.
Ferrolink::Cpp::Bytes TryEarly(std::span<const std::uint8_t> /*payload*/) {
  try {
    const Caller caller;
    return Ferrolink::Cpp::ToBytes(Java(caller).New("java.util.ArrayList").ClassName());
  } catch (const std::exception& error) {
    return Ferrolink::Cpp::ToBytes(error.what());
  }
}

Object MakeList(int size) {
  const Caller caller;
  const Java java(caller);
  Object list = java.New("java.util.ArrayList");
  for (int number = 0; number < size; ++number) {
    list.Call<void>("add", number);
  }
  return list;
}

// Runs on a thread that is not attached.
int SumOnAThread(const Object& list) {
  int sum = 0;
  std::thread([&] {
    for (const int number : list.Iterate<int>()) {
      sum += number;
    }
  }).join();
  return sum;
}

Object MakeAdder(int summand) {
  const Caller caller;
  return Java(caller).Implement("java.util.function.IntUnaryOperator",
                                [summand](int value) { return value + summand; });
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("tryEarly", TryEarly);
  registrar.Register("makeList", MakeList);
  registrar.Register("sumOnAThread", SumOnAThread);
  registrar.Register("makeAdder", MakeAdder);
  registrar.Register("apply", [](const Object& function, int value) {
    return function.Call<int>("applyAsInt", value);
  });
  return FERROLINK_OK;
}
