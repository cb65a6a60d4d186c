#pragma once

#include "companion/session/server_session.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// What a tool call came to: the answer's text, or the error that took its place.
struct Answer {
  QString text;
  QString error;  ///< empty when the call succeeded

  /// The text as a JSON object or array; empty if it is none.
  QJsonObject object() const;
  QJsonArray array() const;
};

/// Calls `tool`. A server that ends or does not answer within 40 seconds is an error of the call.
Answer callTool(ServerSession& server, const QString& tool, const QJsonObject& arguments = {});

/// Sends a request and returns the result of its reply; empty if none came.
QJsonObject resultOf(ServerSession& server, const std::string& method);
