#pragma once

// The clients that orvane-mcp knows: where their configuration lies and how a server is written there.

#include "companion/clients/json_text.h"

#include <string>
#include <vector>

/// The name under which the server is entered with every client.
inline constexpr char kEntryName[] = "orvane";

/// How a client's file is written.
enum class ClientFormat { kJson, kCommentedJson, kToml };

/// A program with its arguments, as a client starts it.
struct Launch {
  std::string program;
  std::vector<std::string> arguments = {};

  bool operator==(const Launch&) const = default;
};

/// One row of clients.json.
struct Client {
  std::string id;    ///< for the command line
  std::string name;  ///< for people
  std::string file;  ///< absolute, for the present user
  ClientFormat format = ClientFormat::kJson;
  KeyPath servers;    ///< of the object that holds an entry for each server
  OrderedJson entry;  ///< with "$PROGRAM", "$ARGUMENTS" and "$COMMAND_LINE" where those go

  /// Where the server's entry is in the file.
  KeyPath entryPath() const;
  JsonDialect dialect() const;
};

/// All known clients, sorted by id. Reads HOME and XDG_CONFIG_HOME.
std::vector<Client> knownClients();

/// The entry that makes `client` start `launch`.
OrderedJson entryFor(const Client& client, const Launch& launch);

/// What `entry`, found in the client's file, starts. Its program is empty when the entry names none.
Launch launchOf(const Client& client, const OrderedJson& entry);

/// A whole file for `client` with the entry for `launch` and nothing else, ending in a line feed.
std::string fileFor(const Client& client, const Launch& launch);
