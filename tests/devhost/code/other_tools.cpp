#include "devhost/code/other_tools.h"

#include "devhost/test_folder.h"

#include <QJsonArray>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

/// Instructions that do nothing, as they are written here and there.
const QRegularExpression kPadding(QStringLiteral("\\bnop|^xchg +%?ax, ?%?ax"));

}  // namespace

QString inQuotes(const QString& path) {
  return u'\'' + path + u'\'';
}

Address number(const QString& digits) {
  bool isNumber = false;
  const Address value = digits.toULongLong(&isNumber, 16);
  EXPECT_TRUE(isNumber) << qPrintable(digits);
  return value;
}

Address address(const QJsonValue& value) {
  EXPECT_TRUE(value.toString().startsWith("0x")) << qPrintable(value.toString());
  return number(value.toString().sliced(2));
}

std::set<Address> keysOf(const QJsonObject& object) {
  std::set<Address> keys;
  for (const QString& key : object.keys()) keys.insert(address(key));
  return keys;
}

std::vector<QJsonObject> objectsOf(const QJsonValue& list) {
  std::vector<QJsonObject> objects;
  for (const auto& object : list.toArray()) objects.push_back(object.toObject());
  for (const auto& object : list.toObject()) objects.push_back(object.toObject());
  return objects;
}

std::set<std::string> textsOf(const QJsonValue& list) {
  std::set<std::string> texts;
  for (const auto& text : list.toArray()) texts.insert(text.toString().toStdString());
  return texts;
}

std::vector<QRegularExpressionMatch> matches(const QByteArray& text, const char* pattern) {
  const QRegularExpression expression(pattern, QRegularExpression::MultilineOption);
  std::vector<QRegularExpressionMatch> found;
  auto all = expression.globalMatch(QString::fromUtf8(text));
  while (all.hasNext()) found.push_back(all.next());
  return found;
}

std::map<Address, Function> functionsOf(const QString& path) {
  std::map<Address, Function> functions;
  const QByteArray listed = outputOf(ORVANE_TEST_NM " -S " + inQuotes(path));
  for (const auto& line : matches(listed, "^([0-9a-f]+)(?: ([0-9a-f]+))? [tT] (\\S+)$")) {
    Function& function = functions[number(line.captured(1))];
    function.names.insert(line.captured(3).toStdString());
    if (!line.captured(2).isEmpty()) function.size = number(line.captured(2));
  }
  // A label inside a function is none itself.
  Address end = 0;
  std::erase_if(functions, [&end](const auto& entry) {
    const auto& [start, function] = entry;
    const bool isLabel = function.size == 0 && start < end;
    end = std::max(end, start + function.size);
    return isLabel;
  });
  return functions;
}

std::set<Address> instructionsOf(const QString& path, Address start, Address end, bool padding) {
  std::set<Address> result;
  const QByteArray listed =
      outputOf(QStringLiteral(ORVANE_TEST_OBJDUMP " -d --start-address=%1 --stop-address=%2 %3")
                   .arg(QString::number(start), QString::number(end), inQuotes(path)));
  for (const auto& line : matches(listed, "^ *([0-9a-f]+):\\t[^\\t\\n]+\\t(.*)$")) {
    if (!padding && line.captured(2).contains(kPadding)) continue;
    result.insert(number(line.captured(1)));
  }
  return result;
}

std::set<Address> listedIn(const QByteArray& listing, bool padding) {
  std::set<Address> result;
  for (const auto& line : matches(listing, "^0x([0-9a-f]+)    (.*)$")) {
    if (!padding && line.captured(2).contains(kPadding)) continue;
    result.insert(number(line.captured(1)));
  }
  return result;
}
