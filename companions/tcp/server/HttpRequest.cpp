#include "companions/tcp/server/HttpRequest.h"

#include <cstddef>

namespace Ferrolink::Companions::Tcp::Server {

std::optional<HttpRequest> HttpRequestOf(std::string_view head) {
  const std::string_view line = head.substr(0, head.find("\r\n"));
  const std::size_t afterMethod = line.find(' ');
  const std::size_t beforeVersion = line.rfind(' ');
  if (afterMethod == 0 || afterMethod == std::string_view::npos || beforeVersion == afterMethod) {
    return std::nullopt;
  }
  const std::string_view target = line.substr(afterMethod + 1, beforeVersion - afterMethod - 1);
  const std::string_view version = line.substr(beforeVersion + 1);
  if (target.substr(0, 1) != "/" || target.find(' ') != std::string_view::npos ||
      (version != "HTTP/1.1" && version != "HTTP/1.0")) {
    return std::nullopt;
  }
  return HttpRequest{std::string(line.substr(0, afterMethod)),
                     std::string(target.substr(0, target.find('?')))};
}

std::string HttpResponse(std::string_view status, std::string_view type, std::string_view body,
                         bool withBody) {
  std::string response = "HTTP/1.1 ";
  response.append(status).append("\r\nContent-Type: ").append(type);
  response.append("\r\nContent-Length: ").append(std::to_string(body.size()));
  response.append("\r\nCache-Control: no-store\r\nConnection: close\r\n");
  if (status.substr(0, 3) == "405") {
    response.append("Allow: GET, HEAD\r\n");
  }
  response.append("\r\n");
  return withBody ? response.append(body) : response;
}

}  // namespace Ferrolink::Companions::Tcp::Server
