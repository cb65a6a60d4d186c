#include "devhost/requests/requests.h"

#include <cstdint>

namespace {

QJsonValue textAt(DocumentList& documents, TextByAddress Document::*texts, const QJsonArray& args,
                  QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto found = (document.*texts).find(document.shownAt(*address));
  return found == (document.*texts).end() ? QString("") : found->second;
}

QJsonValue setTextAt(DocumentList& documents, TextByAddress Document::*texts, const QString& what,
                     const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QString text = args[0].toString();
  const auto given = document.addressFrom(args[1].toString(), error);
  if (!given) return {};
  const std::uint64_t address = document.shownAt(*given);
  if (readsAsJson(text)) {
    error = QStringLiteral("The %1 cannot begin with \"%2\": it would be read as JSON and be lost.")
                .arg(what, text.first(1));
    return {};
  }
  if (text.isEmpty()) {
    (document.*texts).erase(address);
    return QStringLiteral("Removed the %1 at %2.").arg(what, hexAddress(address));
  }
  (document.*texts)[address] = text;
  return QStringLiteral("Set the %1 at %2.").arg(what, hexAddress(address));
}

}  // namespace

QJsonValue commentAt(DocumentList& documents, const QJsonArray& args, QString& error) {
  return textAt(documents, &Document::comments, args, error);
}

QJsonValue inlineCommentAt(DocumentList& documents, const QJsonArray& args, QString& error) {
  return textAt(documents, &Document::inlineComments, args, error);
}

QJsonValue setComment(DocumentList& documents, const QJsonArray& args, QString& error) {
  return setTextAt(documents, &Document::comments, QStringLiteral("comment"), args, error);
}

QJsonValue setInlineComment(DocumentList& documents, const QJsonArray& args, QString& error) {
  return setTextAt(documents, &Document::inlineComments, QStringLiteral("inline comment"), args, error);
}
