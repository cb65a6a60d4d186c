#pragma once

#include "devhost/demo/tool_call.h"
#include "devhost/demo/transcript.h"

/// Talks with the server about the file that the host has opened: a look around, one procedure from all
/// sides, some notes set and read back, and one request that the host refuses.
class Conversation {
 public:
  /// `documentName` is what the host calls the file. Both references must outlive the conversation.
  Conversation(ServerSession& server, Transcript& transcript, const QString& documentName)
      : server_(server), transcript_(transcript), documentName_(documentName) {}

  void hold();

 private:
  void introduce();
  void lookAround();
  void findProcedure();
  void readProcedure();
  void followReferences();
  void searchStrings();
  void takeNotes();
  void askForTheImpossible();

  /// Calls a tool and shows it; `check` gets the answer and `lines` turns it into what is shown.
  template <typename Check, typename Lines>
  Answer ask(const QString& question, const QString& tool, const QJsonObject& arguments, Check check,
             Lines lines);

  ServerSession& server_;
  Transcript& transcript_;
  const QString documentName_;
  QString address_;  ///< entry point of the procedure that is looked at
};
