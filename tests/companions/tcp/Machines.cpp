#include "tests/companions/tcp/Machines.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace Ferrolink::Tests {
namespace {

// Only this process uses the address, so all of its ports are free.
constexpr std::uint16_t kAdminDistance = 1000;
constexpr std::uint16_t kStatistics = 9999;

std::string Endpoint(const std::string& address, int port) {
  return address + ":" + std::to_string(port);
}

// The fields of a line of comma-separated values.
std::vector<std::string> FieldsOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream rest(line);
  for (std::string field; std::getline(rest, field, ',');) {
    fields.push_back(field);
  }
  return fields;
}

// The limit of a minute is far more than servers and balancer need. Only a failure takes as long.
void Await(const std::function<bool()>& isSo, const std::string& what) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!isSo()) {
    if (std::chrono::steady_clock::now() >= end) {
      throw std::runtime_error("It has not happened that " + what);
    }
    std::this_thread::yield();
  }
}

}  // namespace

std::string OwnLoopbackAddress() {
  const auto process = static_cast<unsigned>(getpid());
  std::string address = "127";
  for (const unsigned part : {64U + (process >> 16U), process >> 8U & 0xFFU, process & 0xFFU}) {
    address += "." + std::to_string(part);
  }
  return address;
}

std::string HttpGet(const std::string& address, std::uint16_t port, std::string_view path) {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(port);
  inet_pton(AF_INET, address.c_str(), &server.sin_addr);
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
    return "";
  }
  RawSocket client(std::move(socket));
  client.Send("GET " + std::string(path) + " HTTP/1.0\r\n\r\n");
  return client.ReceiveAll();
}

Machine::Machine(std::uint16_t port, ServerProcess::Arguments options)
    : m_address(OwnLoopbackAddress()), m_port(port), m_options(std::move(options)) {}

std::string Machine::Name() const {
  return Endpoint(m_address, m_port);
}

std::string Machine::Admin() const {
  return Endpoint(m_address, m_port + kAdminDistance);
}

void Machine::Start() {
  ServerProcess::Arguments arguments{"--runtime", "cpp",  "--plug-in", COUNTINGHANDLERS_PATH,
                                     "--listen",  Name(), "--admin",   Admin()};
  arguments.insert(arguments.end(), m_options.begin(), m_options.end());
  m_server.reset();
  m_server = std::make_unique<ServerProcess>(arguments);
  if (m_server->Port() != m_port) {
    throw std::runtime_error("cannot start a server: " + m_server->Errors());
  }
  Await(
      [&] {
        return HttpGet(m_address, m_server->AdminPort(), "/readyz").starts_with("HTTP/1.1 200");
      },
      "the server " + Name() + " is ready");
}

int Machine::end() {
  m_server->Signal(SIGTERM);
  return m_server->Wait();
}

void Machine::Kill() {
  m_server->Signal(SIGKILL);
  m_server->Wait();
}

Balancer::Balancer(std::uint16_t port, const Machine& one, const Machine& two)
    : m_address(OwnLoopbackAddress()), m_port(port) {
  std::vector<std::string> environment{"FERROLINK_BALANCER=" + Name(),
                                       "FERROLINK_SERVER_1=" + one.Name(),
                                       "FERROLINK_ADMIN_1=" + one.Admin(),
                                       "FERROLINK_SERVER_2=" + two.Name(),
                                       "FERROLINK_ADMIN_2=" + two.Admin(),
                                       "FERROLINK_STATISTICS=" + Endpoint(m_address, kStatistics)};
  std::vector<std::string> arguments{HAPROXY_PATH, "-db", "-f", HAPROXY_CONFIGURATION};
  const auto pointersTo = [](std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
      pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
  };
  const std::vector<char*> argv = pointersTo(arguments);
  const std::vector<char*> envp = pointersTo(environment);
  const FileDescriptor output = FileDescriptor::Open((m_directory.Path() / "output").c_str(),
                                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
  m_child = fork();
  if (m_child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output.get(), STDERR_FILENO);
    dup2(output.get(), STDOUT_FILENO);
    execve(argv[0], argv.data(), envp.data());
    _exit(71);
  }
  AwaitStatistics();
}

Balancer::~Balancer() {
  if (m_child > 0) {
    kill(m_child, SIGKILL);
    waitpid(m_child, nullptr, 0);
  }
}

void Balancer::AwaitStatistics() {
  const auto answers = [&] {
    if (waitpid(m_child, nullptr, WNOHANG) != 0) {
      m_child = -1;
      throw std::runtime_error("cannot start HAProxy: " + Output());
    }
    return !HttpGet(m_address, kStatistics, "/;csv").empty();
  };
  Await(answers, "HAProxy answers");
}

std::string Balancer::Name() const {
  return Endpoint(m_address, m_port);
}

std::string Balancer::Output() const {
  std::ostringstream text;
  text << std::ifstream(m_directory.Path() / "output").rdbuf();
  return text.str();
}

void Balancer::AwaitUp(std::string_view server) const {
  Await([&] { return Statistic(server, "status") == "UP"; },
        "HAProxy sees " + std::string(server) + " up");
}

long Balancer::Connections(std::string_view server) const {
  return std::stol(Statistic(server, "stot"));
}

// The statistics have one line per server below the names of the columns.
std::string Balancer::Statistic(std::string_view server, std::string_view column) const {
  std::istringstream answer(HttpGet(m_address, kStatistics, "/;csv"));
  std::size_t place = 0;
  for (std::string line; std::getline(answer, line);) {
    const std::vector<std::string> fields = FieldsOf(line);
    if (line.starts_with("# pxname,")) {
      place = static_cast<std::size_t>(std::find(fields.begin(), fields.end(), column) -
                                       fields.begin());
    } else if (place > 0 && fields.size() > place && fields[0] == "ferrolink" &&
               fields[1] == server) {
      return fields[place];
    }
  }
  throw std::runtime_error("HAProxy has no server " + std::string(server) + ": " + Output());
}

}  // namespace Ferrolink::Tests
