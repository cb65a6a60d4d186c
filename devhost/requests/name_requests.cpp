#include "devhost/requests/parts_of_answers.h"
#include "devhost/requests/requests.h"
#include "devhost/requests/search.h"

#include <QJsonObject>

#include <algorithm>
#include <cctype>

namespace {

/// Why nothing can be called `name`; empty if it can.
QString objectionTo(const QString& name) {
  const auto isControl = [](QChar unit) { return unit.category() == QChar::Other_Control; };
  const auto isHexDigit = [](QChar unit) {
    return unit.unicode() < 0x80 && std::isxdigit(unit.unicode()) != 0;
  };
  if (name.isEmpty()) return {};
  if (std::ranges::any_of(name, isControl)) return QStringLiteral("it has a control character");
  if (name != name.trimmed()) return QStringLiteral("it begins or ends with a blank");
  if (readsAsJson(name)) return QStringLiteral("it would be read as JSON and be lost");
  const bool isNumber = name.front().isDigit() && std::ranges::all_of(name, isHexDigit);
  if (isNumber || name.startsWith(QLatin1StringView("0x"), Qt::CaseInsensitive)) {
    return QStringLiteral("it looks like an address");
  }
  return {};
}

bool isName(const QString& name, QString& error) {
  const QString objection = objectionTo(name);
  if (!objection.isEmpty()) error = QStringLiteral("\"%1\" cannot be a name: %2.").arg(name, objection);
  return objection.isEmpty();
}

}  // namespace

QJsonValue nameList(DocumentList& documents, const QJsonArray&, QString&) {
  return asObject(documents.current().names());
}

QJsonValue searchName(DocumentList& documents, const QJsonArray& args, QString& error) {
  const TextByAddress& names = documents.current().names();
  return search(args, {names.begin(), names.end()}, error);
}

QJsonValue nameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  return asPlainText(document.nameOf(*address));
}

QJsonValue setNameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QString name = args[1].toString();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address || !isName(name, error)) return {};
  document.setName(*address, name);
  if (name.isEmpty()) return QStringLiteral("Removed the name of %1.").arg(hexAddress(*address));
  return QStringLiteral("Set the name of %1 to \"%2\".").arg(hexAddress(*address), name);
}

/// All of the names or none: when one address is wrong, nothing has changed.
QJsonValue setNamesOfAddresses(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QJsonObject names = args[0].toObject();
  TextsAt resolved;
  for (auto it = names.begin(); it != names.end(); ++it) {
    // An empty key is no address: here nothing stands for the current one.
    const auto address = it.key().isEmpty() ? std::nullopt : document.addressFrom(it.key(), error);
    if (it.key().isEmpty()) error = QStringLiteral("\"\" is not an address.");
    if (address && !it.value().isString()) {
      error = QStringLiteral("The name of \"%1\" is not a string.").arg(it.key());
      return {};
    }
    if (!address || !isName(it.value().toString(), error)) return {};
    resolved.emplace_back(*address, it.value().toString());
  }
  for (const auto& [address, name] : resolved) document.setName(address, name);
  return resolved.size() == 1 ? QStringLiteral("Set the name of 1 address.")
                              : QStringLiteral("Set the names of %1 addresses.").arg(resolved.size());
}
