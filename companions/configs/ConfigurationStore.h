#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSTORE_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSTORE_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions {

/// The process's configuration. Thread-safe: snapshots are immutable, and a change makes a new one.
/// The lock is held only to exchange pointers, never while a file is read.
class ConfigurationStore {
 public:
  /// The state for one query.
  struct Snapshot {
    std::shared_ptr<const Configuration> configuration;
    std::shared_ptr<const std::string> directoryOverride;  // null: none
  };

  /// The only instance. Never destroyed: threads of the host may still query while the process
  /// exits.
  static ConfigurationStore& Instance();

  ConfigurationStore();

  [[nodiscard]] Snapshot Current() const;
  /// The number of replaced configurations. It changes after the configuration that it counts.
  [[nodiscard]] unsigned Revision() const { return m_changes.load(std::memory_order_acquire); }
  void ReplaceConfiguration(Configuration configuration);
  void OverrideDirectory(std::string directory);

 private:
  mutable std::mutex m_mutex;
  Snapshot m_snapshot;

  std::atomic<unsigned> m_changes{0};
};

}  // namespace Ferrolink::Companions

#endif
