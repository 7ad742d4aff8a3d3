#ifndef FERROLINK_HOST_OBJECTS_DETAIL_IMPLEMENT_H
#define FERROLINK_HOST_OBJECTS_DETAIL_IMPLEMENT_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ferrolink/objects/Object.h"
#include "ferrolink/objects/detail/Callable.h"
#include "ferrolink/objects/detail/FunctionHandler.h"
#include "ferrolink/objects/detail/Request.h"

namespace Ferrolink::Objects::detail {

/// Asks Java for a proxy of `interface` that calls the functions of `body`. Returns the existing
/// proxy if Java still has one for the same body and interface. Errors: those of Request::Send and
/// of FunctionHandler::NameIn. If the command fails, its sending of `body` is cancelled.
/// @code
/// const auto body = std::make_shared<FunctionBody>();
/// body->Add("", MakeCallable([] { std::puts("run"); }));
/// const Object runnable = ImplementInterface(session, "java.lang.Runnable", body);
/// @endcode
inline Object ImplementInterface(Session& session, std::string_view interface,
                                 const std::shared_ptr<FunctionBody>& body) {
  const std::string& handler = FunctionHandler::NameIn(session);
  const FunctionTable::Sending sending(session, body);
  Request request(session, Operation::Implement);
  Buffer& out = request.Out();
  out.AppendCount(1);
  out.AppendText(interface);
  out.AppendNumber(body->Id());
  out.AppendText(handler);
  out.AppendCount(body->Entries().size());
  for (const FunctionBody::Entry& entry : body->Entries()) {
    const std::vector<Want> wants = entry.function->Wants();
    out.AppendText(entry.name);
    out.AppendNumber(static_cast<std::uint8_t>(wants.size()));
    out.AppendBytes(wants.data(), wants.size());
  }
  Reader reply = request.Send();
  sending.Succeeded();
  return Convert<Object>::Read(reply);
}

}  // namespace Ferrolink::Objects::detail

#endif
