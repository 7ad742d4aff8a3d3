#include "companions/configs/ConfigurationStore.h"

#include <utility>

namespace Ferrolink::Companions {

ConfigurationStore& ConfigurationStore::Instance() {
  static ConfigurationStore& store = *new ConfigurationStore;
  return store;
}

ConfigurationStore::ConfigurationStore()
    : m_snapshot{std::make_shared<const Configuration>(), nullptr} {}

ConfigurationStore::Snapshot ConfigurationStore::Current() const {
  const std::lock_guard lock(m_mutex);
  return m_snapshot;
}

void ConfigurationStore::ReplaceConfiguration(Configuration configuration) {
  // The replaced configuration is released after the lock, if this is its last owner.
  auto exchanged = std::make_shared<const Configuration>(std::move(configuration));
  const std::lock_guard lock(m_mutex);
  m_snapshot.configuration.swap(exchanged);
  m_changes.fetch_add(1, std::memory_order_release);
}

void ConfigurationStore::OverrideDirectory(std::string directory) {
  auto exchanged = std::make_shared<const std::string>(std::move(directory));
  const std::lock_guard lock(m_mutex);
  m_snapshot.directoryOverride.swap(exchanged);
}

}  // namespace Ferrolink::Companions
