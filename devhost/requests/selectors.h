#pragma once

// What the host can be asked. A request is {"request": selector, "args": [...]}; a reply is {"success": true,
// "result": ...} or {"success": false, "error": "One sentence."}.

#include "devhost/document/document.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cstdint>
#include <span>

/// What the arguments of a request are.
enum class Arguments : std::uint8_t {
  kNone,
  kText,
  kTextAndFlag,
  kTwoTexts,
  kTextByText,  ///< an object whose members are texts
};

/// One request that the host answers. `answer` may take its arguments to be as `arguments` says; when it
/// fails it fills in `error` with a sentence that names the wrong value.
struct Selector {
  const char* name;
  Arguments arguments;
  QJsonValue (*answer)(DocumentList& documents, const QJsonArray& args, QString& error);
};

/// Every request that the host answers. Lives as long as the program.
std::span<const Selector> selectors();

/// The reply to one line as it came from a client, without its line feed. Whatever the line holds, there is
/// one.
QJsonObject replyTo(DocumentList& documents, const QByteArray& line);

/// The reply that reports a failure.
QJsonObject failureReply(const QString& error);
