#pragma once

// Changes to a client's file that leave everything in it that is not ours as it is.

#include "companion/clients/client_list.h"

#include <string>

/// What came of a change. One of the two texts is empty.
struct FileChange {
  std::string error = {};   ///< why nothing was done
  std::string report = {};  ///< what was done, in a sentence
};

/// Enters `launch` in the client's file, which is made if there is none. An entry that is there keeps what it
/// holds beside the client's members for it. Does nothing when nothing would change.
///
/// A file that is changed is copied first, beside itself, under a name that is not in use. The change is
/// atomic: whoever reads the file sees the old text or the new one. A symbolic link stays one. Nothing is
/// touched when the file does not parse, holds something else where objects are expected, is changed by
/// somebody else in the meantime, or would not mean what it is to mean after the change: the new text is
/// parsed and compared before it is written.
FileChange enter(const Client& client, const Launch& launch);

/// Takes the entry out of the client's file again, in the same way.
FileChange takeOut(const Client& client);

/// What a client's file holds of ours.
struct ClientFileState {
  bool exists = false;
  std::string error = {};  ///< why it cannot be read or does not parse, with the place
  bool hasEntry = false;
  Launch launch = {};  ///< of the entry
};

/// Looks into the client's file.
ClientFileState look(const Client& client);
