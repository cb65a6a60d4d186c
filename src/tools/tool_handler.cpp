#include "tools/tool_handler.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

using json11::Json;

namespace {

QJsonValue textArgument(const Json& arguments, const Argument& argument) {
  return QString::fromStdString(arguments[argument.name].stringValue());
}

QJsonValue booleanArgument(const Json& arguments, const Argument& argument) {
  return arguments[argument.name].boolValue();
}

QJsonValue mapArgument(const Json& arguments, const Argument& argument) {
  QJsonObject map;
  for (const auto& [key, value] : arguments[argument.name].objectItems()) {
    map.insert(QString::fromStdString(key), QString::fromStdString(value.stringValue()));
  }
  return map;
}

QString requestFromHost(const CatalogueEntry& entry, IPCClient& host, const Json& arguments, QString& error) {
  const QString selector = QString::fromUtf8(entry.selector);
  const auto& [first, second] = entry.arguments;
  switch (entry.shape) {
    case Shape::kNoArgument: return host.request(selector, error);
    case Shape::kOneString: return host.request(selector, error, textArgument(arguments, first));
    case Shape::kPatternSearch:
      return host.request(selector, error, textArgument(arguments, first),
                          booleanArgument(arguments, second));
    case Shape::kTwoStrings:
      return host.request(selector, error, textArgument(arguments, first), textArgument(arguments, second));
    case Shape::kAddressNameMap: return host.request(selector, error, mapArgument(arguments, first));
  }
  return {};
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
