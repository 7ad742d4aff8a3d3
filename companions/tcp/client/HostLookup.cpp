#include "companions/tcp/client/HostLookup.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <asio/error.hpp>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace Ferrolink::Companions::Tcp::Client {
namespace {

using Addresses = std::vector<asio::ip::address>;

// Shared by the waiting thread and the resolving thread.
struct Lookup {
  explicit Lookup(std::string hostName) : host(std::move(hostName)) {}

  const std::string host;

  // Guarded by mutex.
  std::mutex mutex;
  std::condition_variable finished;
  bool isFinished = false;
  Addresses addresses;
  asio::error_code error;
};

asio::ip::address AddressOf(const sockaddr* generic) {
  if (generic->sa_family == AF_INET6) {
    sockaddr_in6 version6{};
    std::memcpy(&version6, generic, sizeof version6);
    asio::ip::address_v6::bytes_type bytes;
    std::memcpy(bytes.data(), &version6.sin6_addr, bytes.size());
    return asio::ip::address_v6(bytes, version6.sin6_scope_id);
  }
  sockaddr_in version4{};
  std::memcpy(&version4, generic, sizeof version4);
  return asio::ip::address_v4(ntohl(version4.sin_addr.s_addr));
}

void LookUp(Lookup& lookup) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  wanted.ai_flags = AI_ADDRCONFIG;
  addrinfo* first = nullptr;
  const int result = getaddrinfo(lookup.host.c_str(), nullptr, &wanted, &first);
  const int systemError = errno;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> found(result == 0 ? first : nullptr,
                                                                 &freeaddrinfo);
  Addresses addresses;
  for (const addrinfo* each = found.get(); each != nullptr; each = each->ai_next) {
    addresses.push_back(AddressOf(each->ai_addr));
  }
  asio::error_code error;
  if (result == EAI_SYSTEM) {
    error = asio::error_code(systemError, asio::system_category());
  } else if (result == EAI_AGAIN) {
    error = asio::error::host_not_found_try_again;
  } else if (addresses.empty()) {
    error = asio::error::host_not_found;
  }
  const std::lock_guard<std::mutex> lock(lookup.mutex);
  lookup.addresses = std::move(addresses);
  lookup.error = error;
  lookup.isFinished = true;
  lookup.finished.notify_all();
}

}  // namespace

std::vector<asio::ip::address> LookUpHost(const std::string& host,
                                          PatientSocket::Clock::time_point deadline) {
  asio::error_code error;
  const auto address = asio::ip::make_address(host, error);
  if (!error) {
    return {address};
  }
  const auto lookup = std::make_shared<Lookup>(host);
  std::thread([lookup] { LookUp(*lookup); }).detach();
  std::unique_lock<std::mutex> lock(lookup->mutex);
  if (!lookup->finished.wait_until(lock, deadline, [&] { return lookup->isFinished; })) {
    throw std::system_error(asio::error::make_error_code(asio::error::timed_out));
  }
  if (lookup->error) {
    throw std::system_error(lookup->error);
  }
  return lookup->addresses;
}

}  // namespace Ferrolink::Companions::Tcp::Client
