#include "companion/clients/client_list.h"

#include "companion/clients/clients_data.h"
#include "companion/clients/toml_text.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
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

/// The absolute folder that an environment variable names; empty when it names none.
QString folderNamedBy(const char* variable) {
  const QString folder = qEnvironmentVariable(variable);
  const bool isUsable = QDir::isAbsolutePath(folder) && !folder.contains(QChar::ReplacementCharacter);
  return isUsable ? QDir::cleanPath(folder) : QString();
}

/// The file or folder at `place`, which may begin in one of the two ways; empty when the environment does not
/// tell where that is.
std::string resolved(std::string_view place) {
  QString folder;
  if (place.starts_with(kHome)) {
    folder = folderNamedBy("HOME");
    place.remove_prefix(kHome.size());
  } else if (place.starts_with(kConfigHome)) {
    folder = folderNamedBy("XDG_CONFIG_HOME");
    if (folder.isEmpty())
      return resolved(std::string(kHome) + ".config/" + std::string(place.substr(kConfigHome.size())));
    place.remove_prefix(kConfigHome.size());
  } else {
    return std::string(place);
  }
  if (folder.isEmpty()) return {};
  return QDir(folder)
      .filePath(QString::fromUtf8(place.data(), static_cast<qsizetype>(place.size())))
      .toStdString();
}

bool isPlace(std::string_view sign) {
  return sign.find('/') != std::string_view::npos;
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
                       .file = resolved(row["file"].get<std::string>()),
                       .format = formatNamed(row["format"]),
                       .servers = stringsOf(row["servers"]),
                       .entry = row["entry"],
                       .environment = row["environment"],
                       .signs = stringsOf(row["signs"]),
                       .needs = row.value("needs", "")});
  return clients;
}

bool isInstalled(const Client& client) {
  return std::ranges::any_of(client.signs, [](const std::string& sign) {
    if (!isPlace(sign)) return !QStandardPaths::findExecutable(QString::fromStdString(sign)).isEmpty();
    const std::string place = resolved(sign);
    return !place.empty() && QFileInfo::exists(QString::fromStdString(place));
  });
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
  if (!launch.environment.empty()) entry[client.environment] = launch.environment;
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
  if (!entry.is_object() || !entry.contains(client.environment)) return launch;
  for (const auto& [name, value] : entry[client.environment].items())
    if (value.is_string()) launch.environment[name] = value;
  return launch;
}

std::string fileFor(const Client& client, const Launch& launch) {
  const OrderedJson entry = entryFor(client, launch);
  if (client.format == ClientFormat::kToml) return withTomlMember({}, client.entryPath(), entry);
  return withMember("{}", client.entryPath(), entry) + '\n';
}
