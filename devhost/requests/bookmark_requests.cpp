#include "devhost/requests/requests.h"

#include <QJsonObject>

namespace {

QJsonObject describeBookmark(std::uint64_t address, const QString& name) {
  QJsonObject bookmark{{"address", hexAddress(address)}};
  if (!name.isEmpty()) bookmark.insert("name", name);
  return bookmark;
}

}  // namespace

QJsonValue bookmarkList(DocumentList& documents, const QJsonArray&, QString&) {
  QJsonArray result;
  for (const auto& [address, name] : documents.current().bookmarks) {
    result.append(describeBookmark(address, name));
  }
  return result;
}

QJsonValue setBookmark(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  document.bookmarks[*address] = args[1].toString();
  return QStringLiteral("Set a bookmark at %1.").arg(hexAddress(*address));
}

QJsonValue unsetBookmark(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  if (document.bookmarks.erase(*address) > 0) {
    return QStringLiteral("Removed the bookmark at %1.").arg(hexAddress(*address));
  }
  error = QStringLiteral("There is no bookmark at %1.").arg(hexAddress(*address));
  return {};
}
