#include "companions/tcp/server/ServerOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonDocument.h"
#include "companions/configs/JsonNode.h"
#include "companions/configs/Printable.h"
#include "companions/configs/SourceFile.h"
#include "companions/tcp/server/OptionTable.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr const char* kRules = "rules";

// The values of the command line, by option.
using Given = std::map<std::string, std::vector<std::string>>;

OptionValue ValueOf(const Option& option, const std::string& text) {
  OptionValue value{text, 0};
  if (option.kind == OptionKind::Number) {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value.number);
    if (error != std::errc() || rest != end || value.number < option.least ||
        value.number > option.greatest) {
      throw WrongValue("a number from " + std::to_string(option.least) + " to " +
                       std::to_string(option.greatest));
    }
  }
  return value;
}

// If an option that takes one value is repeated, the last value counts.
void Apply(const Option& option, const std::vector<std::string>& texts, ServerOptions& options) {
  for (const std::string& text : texts) {
    const std::string name = "--" + option.name;
    if (text.empty()) {
      throw UsageError(name + " takes a value.");
    }
    try {
      option.set(options, ValueOf(option, text));
    } catch (const WrongValue& wrong) {
      throw UsageError(name + " takes " + wrong.what() + ", not '" + Printable(text) + "'.");
    }
  }
}

// Relative paths count from the directory of the file.
OptionValue ValueOf(const Option& option, const JsonNode& node,
                    const std::filesystem::path& directory) {
  switch (option.kind) {
    case OptionKind::Number:
      return {{}, node.Integer(option.least, option.greatest)};
    case OptionKind::Text:
      return {node.Text(), 0};
    default:
      return {(directory / node.Text()).string(), 0};
  }
}

void Apply(const Option& option, const JsonNode& node, const std::filesystem::path& directory,
           ServerOptions& options) {
  if (option.kind == OptionKind::Flag) {
    if (node.Flag()) {
      option.set(options, {});
    }
    return;
  }
  const auto set = [&](const JsonNode& one) {
    try {
      option.set(options, ValueOf(option, one, directory));
    } catch (const WrongValue& wrong) {
      one.Refuse(std::string("expected ") + wrong.what() + ", got \"" + Printable(one.Text()) +
                 '"');
    }
  };
  if (option.kind == OptionKind::Files && node.IsArray()) {
    node.EachElement(set);
  } else {
    set(node);
  }
}

// Skips options of the command line. Returns the options of the file.
std::vector<std::string> ReadFile(const std::string& path, const Given& commandLine,
                                  ServerOptions& options) {
  std::vector<std::string> given;
  try {
    const nlohmann::json document = ParseJson(ReadSourceFile(path));
    const JsonNode root(document);
    std::vector<std::string_view> keys{kRules};
    for (const Option& option : OptionTable()) {
      keys.push_back(option.name);
    }
    root.RequireKeys(keys);
    const auto directory = std::filesystem::absolute(path).parent_path();
    for (const Option& option : OptionTable()) {
      const auto node = root.Member(option.name);
      if (node && commandLine.count(option.name) == 0) {
        Apply(option, *node, directory, options);
        given.push_back(option.name);
      }
    }
    if (const auto rules = root.Member(kRules)) {
      options.rules = std::make_shared<AccessRules>(*rules);
    }
  } catch (const ConfigurationError& error) {
    throw UsageError("--config " + Printable(path) + ": " + error.what());
  }
  return given;
}

void Check(ServerOptions& options, const std::vector<std::string>& given) {
  const auto isGiven = [&](std::string_view name) {
    return std::find(given.begin(), given.end(), name) != given.end();
  };
  if (!isGiven("runtime")) {
    throw UsageError("--runtime is missing: jvm or cpp.");
  }
  if (options.certificate.empty() != options.key.empty()) {
    throw UsageError("--tls-certificate and --tls-key go together.");
  }
  if (!options.clientAuthorities.empty() && !options.UsesTls()) {
    throw UsageError("--tls-client-ca needs --tls-certificate and --tls-key.");
  }
  if (!options.revocationList.empty() && options.clientAuthorities.empty()) {
    throw UsageError("--tls-crl needs --tls-client-ca.");
  }
  if (options.rules->NeedCertificates() && options.clientAuthorities.empty()) {
    throw UsageError("Rules that name certificates need --tls-client-ca.");
  }
  const std::uint64_t least = 2 * std::uint64_t{options.frameLimit};
  if (isGiven("max-memory-bytes") && options.memoryLimit < least) {
    throw UsageError(
        "--max-memory-bytes must have room for a command and a response, twice "
        "--max-frame-bytes: at least " +
        std::to_string(least) + ".");
  }
  options.memoryLimit = std::max(options.memoryLimit, least);
}

class CommandLine {
 public:
  CommandLine()
      : m_app("Runs commands that come over the network in a runtime of its own process.",
              "ferrolink-server") {
    m_app.set_help_flag("--help", "print this text")->group(kOthers);
    m_app.set_version_flag("--version", FERROLINK_VERSION, "print the version")->group(kOthers);
    m_app.footer(
        "SIGTERM and SIGINT end it after the commands that run; a second one at once.\n"
        "The configuration file is JSON with the options' names as keys, without the dashes.");
    m_app.get_formatter()->column_width(kColumn);
    for (const Option& option : OptionTable()) {
      Add(option.name, option.placeholder, option.help, option.group,
          option.kind == OptionKind::Flag);
    }
    Add("config", "FILE", "read options from this file; the command line wins", kOthers, false);
  }

  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
  ~CommandLine() = default;

  Given Parse(int argc, char** argv) {
    try {
      m_app.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
      throw UsageError("Unknown option '" + Printable(m_app.remaining().front()) + "'.");
    } catch (const CLI::ArgumentMismatch& error) {
      // Rewrites texts such as "--listen: 1 required ADDRESS:PORT missing".
      const std::string_view text = error.what();
      const std::string_view name = text.substr(0, text.find_first_of(": "));
      throw UsageError(name.substr(0, 2) == "--" ? std::string(name) + " takes a value."
                                                 : "--" + std::string(name) + " takes no value.");
    }
    return m_given;
  }

  [[nodiscard]] std::string Help() const { return m_app.help(); }

 private:
  static constexpr const char* kOthers = "Others";
  static constexpr std::size_t kColumn = 34;

  void Add(const std::string& name, const std::string& placeholder, const std::string& help,
           const std::string& group, bool isFlag) {
    if (isFlag) {
      m_app
          .add_flag_callback(
              "--" + name, [this, name] { m_given[name] = {"true"}; }, help)
          ->group(group)
          ->disable_flag_override();
      return;
    }
    m_app
        .add_option(
            "--" + name,
            [this, name](const CLI::results_t& texts) {
              m_given[name] = texts;
              return true;
            },
            help)
        ->type_name(placeholder)
        ->group(group)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
  }

  CLI::App m_app;
  Given m_given;
};

}  // namespace

ServerOptions ParseOptions(int argc, char** argv) {
  CommandLine commandLine;
  ServerOptions options;
  Given given;
  try {
    given = commandLine.Parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.help = true;
    return options;
  } catch (const CLI::CallForVersion&) {
    options.version = true;
    return options;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  std::vector<std::string> names;
  if (const auto config = given.find("config"); config != given.end()) {
    names = ReadFile(config->second.back(), given, options);
  }
  for (const Option& option : OptionTable()) {
    if (const auto texts = given.find(option.name); texts != given.end()) {
      Apply(option, texts->second, options);
      names.push_back(option.name);
    }
  }
  Check(options, names);
  return options;
}

std::string Usage() {
  return CommandLine().Help();
}

std::string NameOf(const asio::ip::tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" +
         std::to_string(endpoint.port());
}

}  // namespace Ferrolink::Companions::Tcp::Server
