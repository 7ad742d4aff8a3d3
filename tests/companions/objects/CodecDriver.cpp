#include "tests/companions/objects/CodecDriver.h"

#include <ferrolink/CppRuntime.h>
#include <ferrolink/Objects.h>

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <tuple>

#include "tests/companions/objects/FakeBroker.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;
namespace Typed = Ferrolink::Objects::detail;

// The broker's answer to the commands of this thread: first the input, then that there is nothing.
thread_local Bytes t_answer;

void Require(bool holds, const char* rule) {
  if (!holds) {
    std::fprintf(stderr, "A rule does not hold: %s\n", rule);
    std::abort();
  }
}

FakeBroker& Broker() {
  static auto& broker = *new FakeBroker([](const BrokerRequest& /*request*/) {
    Bytes answer = {0, 15};
    t_answer.swap(answer);
    return answer;
  });
  return broker;
}

Java TheJava() {
  FakePeer peer(Broker());
  return Java(peer);
}

Object AnObject() {
  return Typed::ObjectAccess::Make(Typed::SessionOf(Broker()).Adopt(77, 7));
}

using Step = void (*)(Bytes&& answer);

/// The answer to a request for a value of type T.
template <class T>
void AsValue(Bytes&& answer) {
  const Object object = AnObject();
  t_answer = std::move(answer);
  static_cast<void>(object.As<T>());
}

void AsElements(Bytes&& answer) {
  const Object list = AnObject();
  t_answer = {0, 11, 5, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
  auto elements = list.Iterate(3);
  t_answer = std::move(answer);
  for (const Object& element : elements) {
    static_cast<void>(element.IsNull());
  }
}

void AsText(Bytes&& answer) {
  const Object object = AnObject();
  t_answer = std::move(answer);
  static_cast<void>(object.ClassName());
}

void AsStatistics(Bytes&& answer) {
  const Java java = TheJava();
  t_answer = std::move(answer);
  static_cast<void>(java.LiveObjects());
}

// Reads an answer as an exception. Its cause is the same exception.
void AsException(Bytes&& answer) {
  const Java java = TheJava();
  t_answer = answer;
  try {
    static_cast<void>(java.FindClass("C"));
  } catch (const JavaException& thrown) {
    t_answer = std::move(answer);
    const std::optional<JavaException> cause = thrown.Cause();
    Require(!cause || cause->ClassName() == thrown.ClassName(), "the cause is read the same way");
  }
}

const std::shared_ptr<Typed::FunctionBody>& Body() {
  static const auto& body = *new std::shared_ptr<Typed::FunctionBody>([] {
    auto made = std::make_shared<Typed::FunctionBody>();
    made->Add("ints", Typed::MakeCallable([](int a, std::int64_t b) { return a + b; }));
    made->Add("text", Typed::MakeCallable([](std::string_view text) { return text.size() > 3; }));
    made->Add("object", Typed::MakeCallable([](Object object) { return object; }));
    made->Add("arrays", Typed::MakeCallable([](std::span<const double> numbers,
                                               const std::vector<std::string>& names) {
                return numbers.size() + names.size() > 3 ? u'a' : u'b';
              }));
    made->Add("deep", Typed::MakeCallable([](std::vector<std::vector<std::optional<std::string>>>) {
                throw std::runtime_error("thrown");
              }));
    Typed::FunctionTable::Sending(Typed::SessionOf(Broker()), made).Succeeded();
    return made;
  }());
  return body;
}

// A call of a function: the number of its name, then the arguments.
void AsCall(Bytes&& answer) {
  static constexpr std::array kNames = {"ints", "text", "object", "arrays", "deep", "unknown"};
  const std::string name = kNames.at(answer.empty() ? 0 : answer.front() % kNames.size());
  ByteList call(U8(1), Body()->Id());
  call.Text(name);
  Bytes payload = call;
  payload.insert(payload.end(), answer.begin() + (answer.empty() ? 0 : 1), answer.end());
  Typed::Buffer reply;
  Typed::FunctionHandler::Answer(payload, reply);
  Require(reply.Size() > 0, "a call is answered");
}

// Anything that Java sends to the handler of functions.
void AsCommand(Bytes&& answer) {
  Typed::Buffer reply;
  Typed::FunctionHandler::Answer(answer, reply);
}

void AsTypedCall(Bytes&& answer) {
  static const auto handler = Ferrolink::Cpp::detail::MakeTypedHandler(
      [](std::int32_t a, const std::optional<std::string>& b, const std::vector<float>& c) {
        return b.value_or("none") + std::to_string(a) + std::to_string(c.size());
      });
  const Bytes reply = handler(answer);
  Require(reply.size() > 1, "a typed call is answered");
}

constexpr std::array kSteps = {
    Step{AsValue<bool>},
    Step{AsValue<std::int8_t>},
    Step{AsValue<std::int64_t>},
    Step{AsValue<char16_t>},
    Step{AsValue<float>},
    Step{AsValue<std::string>},
    Step{AsValue<std::optional<std::string>>},
    Step{AsValue<std::vector<bool>>},
    Step{AsValue<std::vector<double>>},
    Step{AsValue<std::vector<std::int16_t>>},
    Step{AsValue<std::vector<std::optional<std::string>>>},
    Step{AsValue<std::vector<std::vector<std::int32_t>>>},
    Step{AsValue<std::vector<std::vector<std::vector<std::string>>>>},
    Step{AsValue<std::vector<Object>>},
    Step{AsElements},
    Step{AsText},
    Step{AsStatistics},
    Step{AsException},
    Step{AsCall},
    Step{AsCommand},
    Step{AsTypedCall},
};

}  // namespace

void DriveCodec(std::span<const std::uint8_t> input) {
  if (input.empty()) {
    return;
  }
  // Copied to the heap without spare bytes, so that AddressSanitizer sees a read beyond the end.
  Bytes rest(input.begin() + 1, input.end());
  try {
    kSteps.at(input.front() % kSteps.size())(std::move(rest));
  } catch (const std::invalid_argument& error) {
    Require(std::string_view(error.what()).starts_with("This C++ function has typed"),
            "only calls without the encoding are refused like that");
  } catch (const Ferrolink::Host::ProtocolError& error) {
    Require(std::string_view(error.what()).find("byte ") != std::string_view::npos,
            "what is malformed is told with its place");
  } catch (const Ferrolink::Host::Error&) {
    // Accepted: an exception, a refusal or a conversion error, with the text of the other side.
  }
  t_answer.clear();
}

}  // namespace Ferrolink::Tests
