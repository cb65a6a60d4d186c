#include "companion/clients/client_list.h"

#include "companion/clients/clients_data.h"
#include "companion/clients/toml_text.h"

#include <QDir>
#include <QStandardPaths>

#include <map>
#include <string_view>

namespace {

// What an entry's template may hold.
constexpr char kProgram[] = "$PROGRAM";
constexpr char kArguments[] = "$ARGUMENTS";
constexpr char kCommandLine[] = "$COMMAND_LINE";

/// The starts that a file's place may have.
constexpr std::string_view kHome = "~/";
constexpr std::string_view kConfigHome = "$XDG_CONFIG_HOME/";

std::string resolved(const std::string& file) {
  if (file.starts_with(kHome)) return QDir::homePath().toStdString() + file.substr(kHome.size() - 1);
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  return folder.toStdString() + file.substr(kConfigHome.size() - 1);
}

ClientFormat formatNamed(const std::string& name) {
  static const std::map<std::string, ClientFormat> kFormats = {
      {"json", ClientFormat::kJson}, {"jsonc", ClientFormat::kCommentedJson}, {"toml", ClientFormat::kToml}};
  return kFormats.at(name);
}

std::vector<std::string> stringsOf(const OrderedJson& array) {
  std::vector<std::string> strings;
  for (const OrderedJson& element : array) strings.push_back(element.is_string() ? element : "");
  return strings;
}

}  // namespace

KeyPath Client::entryPath() const {
  KeyPath path = servers;
  path.emplace_back(kEntryName);
  return path;
}

JsonDialect Client::dialect() const {
  return format == ClientFormat::kCommentedJson ? JsonDialect::kCommented : JsonDialect::kStrict;
}

std::vector<Client> knownClients() {
  std::vector<Client> clients;
  for (const OrderedJson& row : OrderedJson::parse(kClientsData))
    clients.push_back({.id = row["id"],
                       .name = row["name"],
                       .file = resolved(row["file"]),
                       .format = formatNamed(row["format"]),
                       .servers = stringsOf(row["servers"]),
                       .entry = row["entry"]});
  return clients;
}

OrderedJson entryFor(const Client& client, const Launch& launch) {
  std::vector<std::string> commandLine = launch.arguments;
  commandLine.insert(commandLine.begin(), launch.program);
  OrderedJson entry = client.entry;
  for (auto& [key, value] : entry.items()) {
    if (value == kProgram) value = launch.program;
    if (value == kArguments) value = launch.arguments;
    if (value == kCommandLine) value = commandLine;
  }
  return entry;
}

Launch launchOf(const Client& client, const OrderedJson& entry) {
  Launch launch;
  for (const auto& [key, placeholder] : client.entry.items()) {
    if (!entry.is_object() || !entry.contains(key)) continue;
    const OrderedJson& value = entry[key];
    if (placeholder == kProgram && value.is_string()) launch.program = value;
    if (placeholder == kArguments && value.is_array()) launch.arguments = stringsOf(value);
    if (placeholder == kCommandLine && value.is_array() && !value.empty()) {
      launch.arguments = stringsOf(value);
      launch.program = launch.arguments.front();
      launch.arguments.erase(launch.arguments.begin());
    }
  }
  return launch;
}

std::string fileFor(const Client& client, const Launch& launch) {
  const OrderedJson entry = entryFor(client, launch);
  if (client.format == ClientFormat::kToml) return withTomlMember({}, client.entryPath(), entry);
  return withMember("{}", client.entryPath(), entry) + '\n';
}
