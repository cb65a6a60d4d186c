#pragma once

// Changes to a client's file that leave everything in it that is not ours as it is.

#include "companion/clients/client_list.h"

#include <string>

/// What came of a change. Neither `error` nor `written` is set when there was nothing to change.
struct FileChange {
  std::string error = {};    ///< why nothing was done
  std::string written = {};  ///< the file, with symbolic links resolved
  std::string backup = {};   ///< the copy of it as it was; empty when the file is new
};

/// Enters `launch` in the client's file, which is made if there is none. An entry that is there keeps what it
/// holds beside the client's members for it. Does nothing when nothing would change.
///
/// A file that is changed is copied first, beside itself; the newest copies are kept. The change is atomic:
/// whoever reads the file sees the old text or the new one. A symbolic link stays one; owner, group and mode
/// stay. Nothing is touched when the file does not parse, holds something else where objects are expected, or
/// would not mean what it is to mean after the change: the new text is parsed and compared before it is
/// written. Of several changes at the same time each one counts.
FileChange enter(const Client& client, const Launch& launch);

/// Takes the entry out of the client's file again, in the same way.
FileChange takeOut(const Client& client);

/// What a client's file holds of ours.
struct ClientFileState {
  bool exists = false;        ///< also when it cannot be read
  std::string error = {};     ///< why it cannot be read or does not parse, with the place
  bool doesNotParse = false;  ///< it can be read: `error` says what is wrong in it
  bool hasEntry = false;
  OrderedJson entry = {};  ///< as it is in the file
  Launch launch = {};      ///< what the entry starts
};

/// Looks into the client's file.
ClientFileState look(const Client& client);
