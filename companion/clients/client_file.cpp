#include "companion/clients/client_file.h"

#include "companion/clients/toml_text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <optional>

namespace {

/// The text of a file to be changed.
struct FileText {
  QString path;  ///< with symbolic links resolved
  bool exists = false;
  std::string text = {};
};

bool isBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

FileText readFile(const std::string& name, std::string& error) {
  const QFileInfo info(QString::fromStdString(name));
  FileText file{.path = info.exists() ? info.canonicalFilePath() : info.absoluteFilePath(),
                .exists = info.exists() || info.isSymLink()};
  if (!info.exists() && info.isSymLink()) {
    error = name + " is a symbolic link to nothing";
    return file;
  }
  if (!file.exists) return file;
  QFile source(file.path);
  if (!source.open(QIODevice::ReadOnly)) {
    error = "cannot read " + name + ": " + source.errorString().toStdString();
    return file;
  }
  file.text = source.readAll().toStdString();
  return file;
}

/// Copies the file to the first free name beside it. Returns that name, or nothing with `error` set.
QString backUp(const FileText& file, std::string& error) {
  QString name = file.path + QStringLiteral(".orvane-backup");
  for (int number = 2; QFileInfo::exists(name); ++number)
    name = file.path + QStringLiteral(".orvane-backup-%1").arg(number);
  QFile source(file.path);
  if (source.copy(name)) return name;
  error = "cannot make a backup: " + source.errorString().toStdString();
  return {};
}

FileChange replaceFile(const FileText& file, const std::string& text) {
  FileChange change;
  if (!file.exists && !QDir().mkpath(QFileInfo(file.path).absolutePath()))
    return {.error = "cannot make the folder of " + file.path.toStdString()};
  QSaveFile target(file.path);
  if (!target.open(QIODevice::WriteOnly))
    return {.error = "cannot write " + file.path.toStdString() + ": " + target.errorString().toStdString()};

  const QString backup = file.exists ? backUp(file, change.error) : QString();
  if (!change.error.empty()) return change;
  std::string unused;
  if (readFile(file.path.toStdString(), unused).text != file.text)
    return {.error = file.path.toStdString() + " was changed by another program just now; try again"};
  target.write(text.data(), static_cast<qint64>(text.size()));
  if (!target.commit())
    return {.error = "cannot write " + file.path.toStdString() + ": " + target.errorString().toStdString()};
  change.report = "Wrote " + file.path.toStdString();
  if (!backup.isEmpty()) change.report += " (as it was before: " + backup.toStdString() + ")";
  change.report += ". Restart the client, or reload its servers.";
  return change;
}

/// Why the entry cannot be reached in `root`; empty when it can.
std::string obstacleIn(const OrderedJson& root, const Client& client) {
  if (!root.is_object()) return "line 1: the file does not hold an object";
  KeyPath path;
  for (const std::string& key : client.servers) {
    path.push_back(key);
    const OrderedJson* const value = memberAt(root, path);
    if (value != nullptr && !value->is_object()) return "\"" + key + "\" is not an object";
  }
  return {};
}

/// Parses the text of the client's file and finds the entry reachable, or says in `error` why not.
std::optional<OrderedJson> parseFile(const Client& client, const std::string& text, std::string& error) {
  std::string mistake;
  std::optional<OrderedJson> root = client.format == ClientFormat::kToml
                                        ? parseToml(text, mistake)
                                        : parseJson(text, client.dialect(), mistake);
  if (root) mistake = obstacleIn(*root, client);
  if (mistake.empty()) return root;
  error = client.file + ": " + mistake;
  return std::nullopt;
}

/// The object with an entry for each server, made if there is none.
OrderedJson& serversIn(OrderedJson& root, const Client& client) {
  OrderedJson* value = &root;
  for (const std::string& key : client.servers) {
    value = &(*value)[key];
    if (value->is_null()) *value = OrderedJson::object();
  }
  return *value;
}

/// What the file is to mean: `root` with `entry` merged into ours or, without one, without ours.
OrderedJson withChange(OrderedJson root, const Client& client, const std::optional<OrderedJson>& entry) {
  OrderedJson& servers = serversIn(root, client);
  if (!entry) {
    servers.erase(kEntryName);
    return root;
  }
  OrderedJson& present = servers[kEntryName];
  if (!present.is_object()) present = OrderedJson::object();
  present.update(*entry);
  return root;
}

/// Whether `text` parses to `expected`, whatever the order of its members.
bool means(const std::string& text, OrderedJson expected, const Client& client) {
  std::string unused;
  std::optional<OrderedJson> root = parseFile(client, text, unused);
  if (!root) return false;
  // In TOML there may be no object of servers when there is no server.
  serversIn(*root, client);
  serversIn(expected, client);
  return nlohmann::json(*root) == nlohmann::json(expected);
}

std::string withValue(const Client& client, const std::string& text, const KeyPath& path,
                      const OrderedJson& value) {
  return client.format == ClientFormat::kToml ? withTomlMember(text, path, value)
                                              : withMember(text, path, value);
}

std::string withEntry(std::string text, const OrderedJson& root, const Client& client,
                      const OrderedJson& entry) {
  const KeyPath path = client.entryPath();
  const OrderedJson* const present = memberAt(root, path);
  if (present == nullptr || !present->is_object()) return withValue(client, text, path, entry);
  for (const auto& [key, value] : entry.items()) {
    if (present->contains(key) && (*present)[key] == value) continue;
    KeyPath member = path;
    member.push_back(key);
    text = withValue(client, text, member, value);
  }
  return text;
}

std::string withoutEntry(const std::string& text, const OrderedJson& root, const Client& client) {
  const KeyPath path = client.entryPath();
  if (memberAt(root, path) == nullptr) return text;
  return client.format == ClientFormat::kToml ? withoutTomlMember(text, path) : withoutMember(text, path);
}

/// Merges `entry` into the client's file or, without one, takes ours out.
FileChange change(const Client& client, const std::optional<OrderedJson>& entry, const char* unchanged) {
  std::string error;
  const FileText file = readFile(client.file, error);
  if (!error.empty()) return {.error = error};
  const bool isToml = client.format == ClientFormat::kToml;
  const std::string text = isBlank(file.text) && !isToml ? "{}\n" : file.text;
  const std::optional<OrderedJson> root = parseFile(client, text, error);
  if (!root) return {.error = error};
  const std::string edited =
      entry ? withEntry(text, *root, client, *entry) : withoutEntry(text, *root, client);
  if (edited == text) return {.report = client.file + unchanged};
  if (!means(edited, withChange(*root, client, entry), client))
    return {.error = client.file +
                     " is written in a way that cannot be changed safely here; \"orvane-mcp config " +
                     client.id + "\" prints the entry"};
  return replaceFile(file, edited);
}

}  // namespace

FileChange enter(const Client& client, const Launch& launch) {
  return change(client, entryFor(client, launch), " has this entry already.");
}

FileChange takeOut(const Client& client) {
  return change(client, std::nullopt, " has no such entry.");
}

ClientFileState look(const Client& client) {
  ClientFileState state;
  const FileText file = readFile(client.file, state.error);
  state.exists = file.exists;
  if (!file.exists || !state.error.empty() || isBlank(file.text)) return state;
  const std::optional<OrderedJson> root = parseFile(client, file.text, state.error);
  if (!root) return state;
  if (const OrderedJson* const entry = memberAt(*root, client.entryPath())) {
    state.hasEntry = true;
    state.launch = launchOf(client, *entry);
  }
  return state;
}
