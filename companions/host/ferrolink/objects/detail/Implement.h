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

/// A proxy of Java for the functions; the same one while it lives.
inline Object ImplementInterface(Session& session, std::string_view interface,
                                 const std::shared_ptr<FunctionBody>& body) {
  const std::string& handler = FunctionHandler::NameIn(session);
  const FunctionTable::Sending sending(session, body);
  Request request(session, Operation::Implement);
  Buffer& out = request.Out();
  out.Count(1);
  out.Text(interface);
  out.Number(body->Id());
  out.Text(handler);
  out.Count(body->Entries().size());
  for (const FunctionBody::Entry& entry : body->Entries()) {
    const std::vector<Want> wants = entry.function->Wants();
    out.Text(entry.name);
    out.Number(static_cast<std::uint8_t>(wants.size()));
    out.Bytes(wants.data(), wants.size());
  }
  Reader reply = request.Send();
  sending.Succeeded();
  return Convert<Object>::Read(reply);
}

}  // namespace Ferrolink::Objects::detail

#endif
