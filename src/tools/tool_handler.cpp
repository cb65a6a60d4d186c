#include "tools/tool_handler.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <string>
#include <utility>

using json11::Json;

namespace {

QJsonObject textMap(const Json& value) {
  QJsonObject map;
  for (const auto& [key, text] : value.objectItems()) {
    map.insert(QString::fromStdString(key), QString::fromStdString(text.stringValue()));
  }
  return map;
}

/// What the host is sent for `argument`.
QJsonValue valueToSend(const Json& arguments, const Argument& argument) {
  const Json& value = arguments[argument.name];
  switch (argument.type) {
    case ArgumentType::kText: return QString::fromStdString(value.stringValue());
    case ArgumentType::kBoolean: return value.boolValue();
    case ArgumentType::kTextMap: return textMap(value);
  }
  return {};
}

QString requestFromHost(const CatalogueEntry& entry, IPCClient& host, const Json& arguments, QString& error) {
  const QString selector = QString::fromUtf8(entry.selector);
  const auto& [first, second] = entry.arguments;
  if (first.name == nullptr) return host.request(selector, error);
  if (second.name == nullptr) return host.request(selector, error, valueToSend(arguments, first));
  return host.request(selector, error, valueToSend(arguments, first), valueToSend(arguments, second));
}

/// Whether `unit` is "{" or "[", which differ in one bit.
bool opensJson(QChar unit) {
  return (unit.unicode() | 0x20) == '{';
}

}  // namespace

Json resultFromText(const QString& text) {
  if (text.isNull()) return Json();
  std::string bytes = text.toStdString();
  if (text.isEmpty() || !opensJson(text.front())) return Json(std::move(bytes));
  std::string ignoredError;
  return Json::parse(bytes, ignoredError);
}

ToolHandler makeHandler(const CatalogueEntry& entry, IPCClient* host) {
  return [&entry, host](const Json& arguments, std::string& error) {
    QString hostError;
    const QString text = requestFromHost(entry, *host, arguments, hostError);
    error = hostError.toStdString();
    return resultFromText(text);
  };
}
