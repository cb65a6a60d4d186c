#pragma once

#include "devhost/document/document.h"
#include "devhost/document/opened_file.h"
#include "devhost/requests/selectors.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <utility>

/// Documents in this process, asked as a client asks: one request line, one reply.
class OpenedDocuments {
 public:
  void open(const QString& path) {
    QString error;
    std::optional<OpenedFile> file = openFile(path, error);
    ASSERT_TRUE(file) << qPrintable(error);
    documents_.add(path, std::move(*file));
  }

  QJsonObject reply(const char* selector, const QJsonArray& args = {}) {
    const QJsonObject request{{"request", selector}, {"args", args}};
    return replyTo(documents_, QJsonDocument(request).toJson(QJsonDocument::Compact));
  }

  /// The result of a request that succeeds.
  QJsonValue ask(const char* selector, const QJsonArray& args = {}) {
    const QJsonObject answer = reply(selector, args);
    EXPECT_EQ(answer["success"], QJsonValue(true))
        << selector << ": " << qPrintable(answer["error"].toString());
    return answer["result"];
  }

  QString text(const char* selector, const QJsonArray& args = {}) { return ask(selector, args).toString(); }

  /// The sentence of a request that fails.
  QString failure(const char* selector, const QJsonArray& args = {}) {
    const QJsonObject answer = reply(selector, args);
    EXPECT_EQ(answer["success"], QJsonValue(false)) << selector;
    EXPECT_FALSE(answer.contains("result")) << selector;
    return answer["error"].toString();
  }

  DocumentList& documents() { return documents_; }

 private:
  DocumentList documents_;
};

/// Compact JSON, so that a failing comparison shows both sides.
inline std::string jsonText(const QJsonValue& value) {
  const QJsonDocument document =
      value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
  return document.toJson(QJsonDocument::Compact).toStdString();
}
