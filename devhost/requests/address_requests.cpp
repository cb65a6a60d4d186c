#include "devhost/requests/requests.h"

QJsonValue currentAddress(DocumentList& documents, const QJsonArray&, QString&) {
  return hexAddress(documents.current().cursor());
}

QJsonValue currentProcedure(DocumentList& documents, const QJsonArray&, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(QString(), error);
  if (procedure == nullptr) return {};
  return asPlainText(document.nameOf(procedure->entry));
}

QJsonValue gotoAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  document.setCursor(*address);
  return QStringLiteral("The current address is %1.").arg(hexAddress(*address));
}

QJsonValue nextAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto next = document.addressAfter(*address);
  if (next) return hexAddress(*next);
  error = QStringLiteral("No address comes after %1.").arg(hexAddress(*address));
  return {};
}

QJsonValue prevAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto previous = document.addressBefore(*address);
  if (previous) return hexAddress(*previous);
  error = QStringLiteral("No address comes before %1.").arg(hexAddress(*address));
  return {};
}

QJsonValue referencesToAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  QJsonArray result;
  const auto& references = document.analysis().references;
  for (const Reference& reference : partWhere(references, &Reference::to, *address)) {
    result.append(hexAddress(reference.from));
  }
  return result;
}
