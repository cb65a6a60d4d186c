#pragma once

// The clients that orvane-mcp knows: where their configuration lies and how a server is written there.

#include "companion/clients/json_text.h"

#include <map>
#include <string>
#include <vector>

/// The name under which the server is entered with every client.
inline constexpr char kEntryName[] = "orvane";

/// How a client's file is written.
enum class ClientFormat { kJson, kCommentedJson, kToml };

/// A program with its arguments and with what is set in its environment, as a client starts it.
struct Launch {
  std::string program;
  std::vector<std::string> arguments = {};
  std::map<std::string, std::string> environment = {};  ///< beside what the client passes on of its own

  bool operator==(const Launch&) const = default;
};

/// One row of clients.json.
struct Client {
  std::string id;    ///< for the command line
  std::string name;  ///< for people
  std::string file;  ///< absolute, for the present user; empty when the environment does not tell its folder
  ClientFormat format = ClientFormat::kJson;
  KeyPath servers;                 ///< of the object that holds an entry for each server
  OrderedJson entry;               ///< with "$PROGRAM", "$ARGUMENTS" and "$COMMAND_LINE" where those go
  std::string environment;         ///< the entry's member for the environment of the server
  std::vector<std::string> signs;  ///< what only those have who use the client: programs, files and folders
  std::string needs;               ///< what the user has to do beside the entry, a sentence; mostly empty

  /// Where the server's entry is in the file.
  KeyPath entryPath() const;
  JsonDialect dialect() const;
};

/// All known clients, sorted by id. Reads HOME and XDG_CONFIG_HOME.
std::vector<Client> knownClients();

/// Whether a sign of the client is there: a program on PATH, or a file or folder.
bool isInstalled(const Client& client);

/// The entry that makes `client` start `launch`.
OrderedJson entryFor(const Client& client, const Launch& launch);

/// What `entry`, found in the client's file, starts. Its program is empty when the entry names none.
Launch launchOf(const Client& client, const OrderedJson& entry);

/// A whole file for `client` with the entry for `launch` and nothing else, ending in a line feed.
std::string fileFor(const Client& client, const Launch& launch);
