#include "companions/configs/ConfigurationStore.h"

#include <utility>

namespace Ferrolink::Companions {

ConfigurationStore& ConfigurationStore::instance() {
  static ConfigurationStore& store = *new ConfigurationStore;
  return store;
}

ConfigurationStore::ConfigurationStore()
    : snapshot{std::make_shared<const Configuration>(), nullptr} {}

ConfigurationStore::Snapshot ConfigurationStore::current() const {
  const std::lock_guard lock(mutex);
  return snapshot;
}

void ConfigurationStore::replaceConfiguration(Configuration configuration) {
  // What was replaced is given up after the lock, if this is its last owner.
  auto exchanged = std::make_shared<const Configuration>(std::move(configuration));
  const std::lock_guard lock(mutex);
  snapshot.configuration.swap(exchanged);
  changes.fetch_add(1, std::memory_order_release);
}

void ConfigurationStore::overrideDirectory(std::string directory) {
  auto exchanged = std::make_shared<const std::string>(std::move(directory));
  const std::lock_guard lock(mutex);
  snapshot.directoryOverride.swap(exchanged);
}

}  // namespace Ferrolink::Companions
