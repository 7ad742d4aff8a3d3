#ifndef FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H
#define FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H

/// Reports "host: <name>" and aborts: a symbol of the host's took the place of the library's own.
[[noreturn]] void calledHost(const char* name);

/// Stands for a virtual table or type information. Whoever calls through it ends in calledHost.
struct HostTable {
  void (*entries[64])();
};

[[noreturn]] inline void calledThroughHostTable() {
  calledHost("a table of the host's");
}

constexpr HostTable makeHostTable() {
  HostTable table{};
  for (auto& entry : table.entries) {
    entry = calledThroughHostTable;
  }
  return table;
}

#endif
