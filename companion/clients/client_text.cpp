#include "companion/clients/client_text.h"

#include "companion/clients/toml_text.h"

#include <utility>
#include <vector>

namespace {

bool isToml(const Client& client) {
  return client.format == ClientFormat::kToml;
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

/// The object with an entry for each server, made if there is none.
OrderedJson& serversIn(OrderedJson& root, const Client& client) {
  OrderedJson* value = &root;
  for (const std::string& key : client.servers) {
    value = &(*value)[key];
    if (value->is_null()) *value = OrderedJson::object();
  }
  return *value;
}

/// Whether `text` parses to `expected`, whatever the order of its members.
bool means(const std::string& text, OrderedJson expected, const Client& client) {
  std::string unused;
  std::optional<OrderedJson> root = readClientText(client, text, unused);
  if (!root) return false;
  // In TOML there may be no object of servers when there is no server.
  serversIn(*root, client);
  serversIn(expected, client);
  return nlohmann::json(*root) == nlohmann::json(expected);
}

TextEdit refusal(const Client& client) {
  return {.error = client.file +
                   " is written in a way that cannot be changed safely here; \"orvane-mcp config " +
                   client.id + "\" prints the entry"};
}

/// A member that is to be set, below our entry.
struct Change {
  KeyPath path;
  OrderedJson value;
};

/// The members in which `present`, at `path`, differs from itself with `wanted` merged into it.
std::vector<Change> changesFor(const KeyPath& path, const OrderedJson& present, const OrderedJson& wanted) {
  std::vector<Change> changes;
  for (const auto& [key, value] : wanted.items()) {
    KeyPath member = path;
    member.push_back(key);
    const bool isThere = present.is_object() && present.contains(key);
    if (isThere && present[key] == value) continue;
    if (value.is_object() && (!isThere || present[key].is_object())) {
      const OrderedJson nothing = OrderedJson::object();
      for (Change& each : changesFor(member, isThere ? present[key] : nothing, value))
        changes.push_back(std::move(each));
    } else {
      changes.push_back({member, value});
    }
  }
  return changes;
}

void set(OrderedJson& root, const Change& change) {
  OrderedJson* value = &root;
  for (const std::string& key : change.path) {
    if (!value->is_object()) *value = OrderedJson::object();
    value = &(*value)[key];
  }
  *value = change.value;
}

std::string withChange(const Client& client, const std::string& text, const Change& change) {
  return isToml(client) ? withTomlMember(text, change.path, change.value)
                        : withMember(text, change.path, change.value);
}

std::string textToEdit(const Client& client, const std::string& text) {
  return isToml(client) ? text : withObjectIfVoid(text, client.dialect());
}

}  // namespace

std::optional<OrderedJson> readClientText(const Client& client, const std::string& text, std::string& error) {
  std::optional<OrderedJson> root =
      isToml(client) ? parseToml(text, error)
                     : parseJson(withObjectIfVoid(text, client.dialect()), client.dialect(), error);
  if (root) error = obstacleIn(*root, client);
  if (error.empty()) return root;
  error.insert(0, client.file + ": ");
  return std::nullopt;
}

TextEdit withEntry(const Client& client, const std::string& text, const OrderedJson& entry) {
  TextEdit edit;
  std::optional<OrderedJson> expected = readClientText(client, text, edit.error);
  if (!expected) return edit;
  const OrderedJson* const present = memberAt(*expected, client.entryPath());
  const bool isThere = present != nullptr && present->is_object();
  std::vector<Change> changes = {{client.entryPath(), entry}};
  if (isThere) changes = changesFor(client.entryPath(), *present, entry);
  edit.text = changes.empty() ? text : textToEdit(client, text);
  for (const Change& change : changes) {
    set(*expected, change);
    edit.text = withChange(client, edit.text, change);
    if (!means(edit.text, *expected, client)) return refusal(client);
  }
  return edit;
}

TextEdit withoutEntry(const Client& client, const std::string& text) {
  TextEdit edit{.text = text};
  std::optional<OrderedJson> expected = readClientText(client, text, edit.error);
  if (!expected || memberAt(*expected, client.entryPath()) == nullptr) return edit;
  serversIn(*expected, client).erase(kEntryName);
  edit.text =
      isToml(client) ? withoutTomlMember(text, client.entryPath()) : withoutMember(text, client.entryPath());
  if (!means(edit.text, *expected, client)) return refusal(client);
  return edit;
}
