#include "companion/clients/client_file.h"

#include "companion/clients/client_text.h"
#include "companion/clients/settings_file.h"

#include <functional>

namespace {

/// How often a change is tried when another program changes the file in the same moment.
constexpr int kMostTries = 5;

using Edit = std::function<TextEdit(const std::string& text)>;

/// Changes the text of the client's file by `edit`, once.
FileChange tryToChange(const Client& client, const Edit& edit, bool& wasChangedMeanwhile) {
  FileChange change;
  const std::optional<SettingsFile> file = readSettingsFile(client.file, change.error);
  if (!file) return change;
  const TextEdit edited = edit(file->text);
  if (!edited.error.empty()) return {.error = edited.error};
  if (edited.text == file->text) return change;
  const Replacement replacement = replaceSettingsFile(*file, edited.text);
  wasChangedMeanwhile = replacement.wasChangedMeanwhile;
  return {.error = replacement.error,
          .written = file->path.toStdString(),
          .backup = replacement.backup.toStdString()};
}

FileChange change(const Client& client, const Edit& edit) {
  const SettingsLock lock(client.file);
  for (int tries = 0; tries < kMostTries; ++tries) {
    bool wasChangedMeanwhile = false;
    FileChange change = tryToChange(client, edit, wasChangedMeanwhile);
    if (!wasChangedMeanwhile) return change;
  }
  return {.error = client.file + " is being changed by another program all the time; try again later"};
}

}  // namespace

FileChange enter(const Client& client, const Launch& launch) {
  const OrderedJson entry = entryFor(client, launch);
  return change(client, [&](const std::string& text) { return withEntry(client, text, entry); });
}

FileChange takeOut(const Client& client) {
  return change(client, [&client](const std::string& text) { return withoutEntry(client, text); });
}

ClientFileState look(const Client& client) {
  ClientFileState state;
  const std::optional<SettingsFile> file = readSettingsFile(client.file, state.error);
  state.exists = !file || file->exists;
  if (!file || !file->exists) return state;
  const std::optional<OrderedJson> root = readClientText(client, file->text, state.error);
  state.doesNotParse = !root;
  if (!root) return state;
  if (const OrderedJson* const entry = memberAt(*root, client.entryPath())) {
    state.hasEntry = true;
    state.entry = *entry;
    state.launch = launchOf(client, *entry);
  }
  return state;
}
