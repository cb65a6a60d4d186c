#include "devhost/requests/requests.h"

#include <QJsonObject>

namespace {

QJsonObject describeSection(const Section& section) {
  return {{"name", QString::fromStdString(section.name)},
          {"start", hexAddress(section.start)},
          {"end", hexAddress(section.end)}};
}

QJsonObject describeSegment(const Segment& segment) {
  QJsonArray sections;
  for (const Section& section : segment.sections) sections.append(describeSection(section));
  return {{"name", QString::fromStdString(segment.name)},
          {"start", hexAddress(segment.start)},
          {"end", hexAddress(segment.end)},
          {"writeable", segment.writable},
          {"executable", segment.executable},
          {"section", sections}};
}

}  // namespace

QJsonValue documentList(DocumentList& documents, const QJsonArray&, QString&) {
  return QJsonArray::fromStringList(documents.names());
}

QJsonValue currentDocument(DocumentList& documents, const QJsonArray&, QString&) {
  return asPlainText(documents.current().name());
}

QJsonValue setCurrentDocument(DocumentList& documents, const QJsonArray& args, QString& error) {
  const QString name = args[0].toString();
  if (documents.setCurrent(name)) return QStringLiteral("The current document is \"%1\".").arg(name);
  error = QStringLiteral("There is no document \"%1\".").arg(name);
  return {};
}

QJsonValue segmentList(DocumentList& documents, const QJsonArray&, QString&) {
  QJsonArray result;
  for (const Segment& segment : documents.current().image().segments) {
    result.append(describeSegment(segment));
  }
  return result;
}
