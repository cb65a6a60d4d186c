#pragma once

// What nm, objdump and readelf say about a program, and the development host's answers in the same terms.

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QRegularExpressionMatch>
#include <QString>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

using Address = std::uint64_t;

/// A path as one word of a shell's command.
QString inQuotes(const QString& path);

/// What hexadecimal digits, and an address of an answer, stand for.
Address number(const QString& digits);
Address address(const QJsonValue& value);

std::set<Address> keysOf(const QJsonObject& object);
std::vector<QJsonObject> objectsOf(const QJsonValue& list);
std::set<std::string> textsOf(const QJsonValue& list);

/// Matches of `pattern`, line by line.
std::vector<QRegularExpressionMatch> matches(const QByteArray& text, const char* pattern);

struct Function {
  std::set<std::string> names;
  Address size = 0;
};

/// The functions that nm lists, by address.
std::map<Address, Function> functionsOf(const QString& path);

/// Behind every address.
inline constexpr Address kNoEnd = ~Address{0};

/// The instructions that objdump finds in [start, end).
///
/// Without `padding`, only those that do something: what fills the space in front of a loop is never reached,
/// so nothing but a symbol's size tells that it belongs to a procedure.
std::set<Address> instructionsOf(const QString& path, Address start, Address end, bool padding = true);

/// The instructions that a listing of the development host's names; see instructionsOf() for `padding`.
std::set<Address> listedIn(const QByteArray& listing, bool padding = true);
