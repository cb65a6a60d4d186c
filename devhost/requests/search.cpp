#include "devhost/requests/search.h"

#include <QDeadlineTimer>
#include <QRegularExpression>

namespace {

/// Longest time that one search may take, in milliseconds. Some patterns would go on for years.
constexpr int kSearchTimeLimitMs = 10000;

}  // namespace

QJsonValue search(const QJsonArray& args, const TextsAt& candidates, QString& error) {
  const QString pattern = args[0].toString();
  const auto option =
      args[1].toBool() ? QRegularExpression::NoPatternOption : QRegularExpression::CaseInsensitiveOption;
  const QRegularExpression expression(pattern, option);
  if (!expression.isValid()) {
    error = QStringLiteral("\"%1\" is not a regular expression: %2.").arg(pattern, expression.errorString());
    return {};
  }
  const QDeadlineTimer deadline(kSearchTimeLimitMs);
  ByAddress found;
  for (const auto& [address, text] : candidates) {
    const QRegularExpressionMatch match = expression.match(text);
    if (!match.isValid()) {
      error = QStringLiteral("Matching \"%1\" takes more work than one text may, at %2.")
                  .arg(pattern, hexAddress(address));
      return {};
    }
    if (match.hasMatch()) found.add(address, text);
    if (!deadline.hasExpired()) continue;
    error = QStringLiteral("Matching \"%1\" takes too long.").arg(pattern);
    return {};
  }
  return found.object();
}
