#ifndef FERROLINK_COMPANIONS_TCP_SERVER_HTTPREQUEST_H
#define FERROLINK_COMPANIONS_TCP_SERVER_HTTPREQUEST_H

#include <optional>
#include <string>
#include <string_view>

namespace Ferrolink::Companions::Tcp::Server {

/// The first line of a request in HTTP/1.
struct HttpRequest {
  std::string method;
  std::string path;  ///< without what follows a "?"
};

/// Parses the head of a request; none if its first line is malformed.
std::optional<HttpRequest> HttpRequestOf(std::string_view head);

/// A whole response, with which the connection closes. Without `withBody` it has the head only, for
/// HEAD.
std::string HttpResponse(std::string_view status, std::string_view type, std::string_view body,
                         bool withBody = true);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
