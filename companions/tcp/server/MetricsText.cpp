// Writes the counters as metric families, and these as text.
#include <dirent.h>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "companions/tcp/server/HandlerMetrics.h"
#include "companions/tcp/server/Metrics.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

// In the order of Refusal.
constexpr std::array<const char*, 7> kReasons = {"greeting", "tls",       "rules",   "command",
                                                 "busy",     "goingaway", "timeover"};
constexpr double kNanosecond = 1e-9;
constexpr double kMicroseconds = 1e6;  // in a second

template <class Number>
double Real(Number number) {
  return static_cast<double>(number);
}

MetricFamily Family(std::string name, std::string help, MetricType type) {
  return {std::move(name), std::move(help), type, {}};
}

void AddCounter(MetricFamily& family, double value, Labels labels = {}) {
  ClientMetric metric;
  metric.label = std::move(labels);
  metric.counter.value = value;
  family.metric.push_back(std::move(metric));
}

void AddGauge(MetricFamily& family, double value, Labels labels = {}) {
  ClientMetric metric;
  metric.label = std::move(labels);
  metric.gauge.value = value;
  family.metric.push_back(std::move(metric));
}

MetricFamily CounterFamily(std::string name, std::string help, double value) {
  MetricFamily made = Family(std::move(name), std::move(help), MetricType::Counter);
  AddCounter(made, value);
  return made;
}

MetricFamily Gauge(std::string name, std::string help, double value) {
  MetricFamily made = Family(std::move(name), std::move(help), MetricType::Gauge);
  AddGauge(made, value);
  return made;
}

double ResidentBytes() {
  std::uint64_t size = 0;
  std::uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return Real(resident) * Real(sysconf(_SC_PAGESIZE));
}

double OpenDescriptors() {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), closedir);
  double count = 0;
  while (directory != nullptr && readdir(directory.get()) != nullptr) {
    ++count;
  }
  // Without ".", ".." and the directory's own descriptor.
  return std::max(0.0, count - 3);
}

}  // namespace

std::string Metrics::Text() const {
  Families families;
  AddConnections(families);
  AddCalls(families);
  AddSources(families);
  return prometheus::TextSerializer().Serialize(families);
}

void Metrics::AddConnections(Families& families) const {
  // Reads the counter of closed connections first, so that the difference is never negative.
  const std::uint64_t closed = m_closed.load();
  const std::uint64_t accepted = m_accepted.load();
  families.push_back(Gauge("ferrolink_server_connections", "Connections that are served now.",
                           Real(accepted - std::min(closed, accepted))));
  families.push_back(CounterFamily("ferrolink_server_connections_total",
                                   "Connections that have been served.", Real(accepted)));
  MetricFamily refusals =
      Family("ferrolink_server_refused_total",
             "Connections and commands that were turned away, by reason.", MetricType::Counter);
  for (std::size_t i = 0; i < m_refused.size(); ++i) {
    AddCounter(refusals, Real(m_refused[i].load()), {{"reason", kReasons[i]}});
  }
  families.push_back(std::move(refusals));
  families.push_back(CounterFamily("ferrolink_server_received_bytes_total",
                                   "Bytes of frames that came.", Real(m_received.load())));
  families.push_back(CounterFamily("ferrolink_server_sent_bytes_total",
                                   "Bytes of frames that went.", Real(m_sent.load())));
}

void Metrics::AddCalls(Families& families) const {
  families.push_back(Gauge("ferrolink_server_calls_in_flight", "Commands that are executed now.",
                           Real(m_inFlight.load())));
  MetricFamily failures =
      Family("ferrolink_server_call_errors_total", "Commands that were answered with an exception.",
             MetricType::Counter);
  MetricFamily times = Family("ferrolink_server_call_seconds", "How long commands took to execute.",
                              MetricType::Histogram);
  const auto add = [&](const Handler& handler) {
    const Labels labels{{"handler", handler.label}};
    AddCounter(failures, Real(handler.failed.load()), labels);
    ClientMetric metric;
    metric.label = labels;
    auto& histogram = metric.histogram;
    for (std::size_t i = 0; i < handler.buckets.size(); ++i) {
      histogram.sample_count += handler.buckets[i].load();
      const bool last = i == Handler::kBounds.size();
      histogram.bucket.push_back(
          {histogram.sample_count, last ? std::numeric_limits<double>::infinity()
                                        : Real(Handler::kBounds[i]) / kMicroseconds});
    }
    histogram.sample_sum = Real(handler.nanoseconds.load()) * kNanosecond;
    times.metric.push_back(std::move(metric));
  };
  add(*m_other);
  for (const auto& slot : m_handlers) {
    if (const Handler* handler = slot.load(std::memory_order_acquire)) {
      add(*handler);
    }
  }
  families.push_back(std::move(failures));
  families.push_back(std::move(times));
}

void Metrics::AddSources(Families& families) const {
  MetricFamily info = Family("ferrolink_server_info", "What runs.", MetricType::Gauge);
  AddGauge(info, 1, {{"version", FERROLINK_VERSION}});
  families.push_back(std::move(info));
  if (m_sources.isReady) {
    families.push_back(
        Gauge("ferrolink_server_ready", "Whether /readyz says so.", m_sources.isReady() ? 1 : 0));
  }
  if (m_sources.bufferBytes) {
    families.push_back(Gauge("ferrolink_server_buffer_bytes",
                             "Memory of commands and responses, which --max-memory-bytes limits.",
                             Real(m_sources.bufferBytes())));
  }
  if (m_sources.logLinesLost) {
    families.push_back(CounterFamily("ferrolink_server_log_lines_lost_total",
                                     "Lines of the log that nobody read in time.",
                                     Real(m_sources.logLinesLost())));
  }
  families.push_back(
      Gauge("process_resident_memory_bytes", "Memory of the process.", ResidentBytes()));
  families.push_back(Gauge("process_open_fds", "Open descriptors.", OpenDescriptors()));
  const std::optional<Heap> heap = m_sources.heap ? m_sources.heap() : std::nullopt;
  if (heap) {
    const Labels area{{"area", "heap"}};
    const auto add = [&](const char* name, const char* help, std::uint64_t value) {
      MetricFamily made = Family(name, help, MetricType::Gauge);
      AddGauge(made, Real(value), area);
      families.push_back(std::move(made));
    };
    add("jvm_memory_used_bytes", "Memory of the JVM that is used.", heap->used);
    add("jvm_memory_committed_bytes", "Memory of the JVM that it has.", heap->committed);
    add("jvm_memory_max_bytes", "Memory of the JVM that it may have.", heap->most);
  }
}

}  // namespace Ferrolink::Companions::Tcp::Server
