#ifndef FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H
#define FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H

/// Reports "host: <name>" and aborts: a symbol of the host's took the place of the library's own.
[[noreturn]] void CalledHost(const char* name);

/// Stands for a virtual table or type information. Whoever calls through it ends in CalledHost.
struct HostTable {
  void (*entries[64])();
};

[[noreturn]] inline void CalledThroughHostTable() {
  CalledHost("a table of the host's");
}

constexpr HostTable MakeHostTable() {
  HostTable table{};
  for (auto& entry : table.entries) {
    entry = CalledThroughHostTable;
  }
  return table;
}

#endif
