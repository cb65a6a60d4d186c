#include "client_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <functional>
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
  std::optional<OrderedJson> root = parseJson(text, client.dialect(), mistake);
  if (root) mistake = obstacleIn(*root, client);
  if (mistake.empty()) return root;
  error = client.file + ": " + mistake;
  return std::nullopt;
}

/// What a change makes of a text that parses to `root`.
using Edit = std::function<std::string(const std::string& text, const OrderedJson& root)>;

FileChange change(const Client& client, const Edit& edit, const char* unchanged) {
  if (client.format == ClientFormat::kToml)
    return {.error = client.file + " is TOML, which is not edited here, so that its comments stay; " +
                     "\"orvane-mcp config " + client.id + "\" prints what belongs in it"};
  std::string error;
  const FileText file = readFile(client.file, error);
  if (!error.empty()) return {.error = error};
  const std::string text = isBlank(file.text) ? "{}\n" : file.text;
  const std::optional<OrderedJson> root = parseFile(client, text, error);
  if (!root) return {.error = error};
  const std::string edited = edit(text, *root);
  if (edited == text) return {.report = client.file + unchanged};
  return replaceFile(file, edited);
}

std::string withEntry(std::string text, const OrderedJson& root, const Client& client,
                      const OrderedJson& entry) {
  const KeyPath path = client.entryPath();
  const OrderedJson* const present = memberAt(root, path);
  if (present == nullptr || !present->is_object()) return withMember(text, path, entry);
  for (const auto& [key, value] : entry.items()) {
    if (present->contains(key) && (*present)[key] == value) continue;
    KeyPath member = path;
    member.push_back(key);
    text = withMember(text, member, value);
  }
  return text;
}

}  // namespace

FileChange enter(const Client& client, const Launch& launch) {
  const OrderedJson entry = entryFor(client, launch);
  return change(
      client,
      [&client, &entry](const std::string& text, const OrderedJson& root) {
        return withEntry(text, root, client, entry);
      },
      " has this entry already.");
}

FileChange takeOut(const Client& client) {
  const KeyPath path = client.entryPath();
  return change(
      client,
      [&path](const std::string& text, const OrderedJson& root) {
        return memberAt(root, path) == nullptr ? text : withoutMember(text, path);
      },
      " has no such entry.");
}

ClientFileState look(const Client& client) {
  ClientFileState state;
  const FileText file = readFile(client.file, state.error);
  state.exists = file.exists;
  if (!file.exists || !state.error.empty() || client.format == ClientFormat::kToml || isBlank(file.text))
    return state;
  const std::optional<OrderedJson> root = parseFile(client, file.text, state.error);
  if (!root) return state;
  if (const OrderedJson* const entry = memberAt(*root, client.entryPath())) {
    state.hasEntry = true;
    state.launch = launchOf(client, *entry);
  }
  return state;
}
