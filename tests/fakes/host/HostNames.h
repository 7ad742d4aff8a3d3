#ifndef FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H
#define FERROLINK_TESTS_FAKES_HOST_HOSTNAMES_H

/// Reports "host: <name>" and aborts: the host's symbol was used in place of the library's.
[[noreturn]] void CalledHost(const char* name);

/// In place of a virtual table or type information. A call through it ends in CalledHost.
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
