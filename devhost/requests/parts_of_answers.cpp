#include "devhost/requests/parts_of_answers.h"

#include <algorithm>

void ByAddress::add(std::uint64_t address, QJsonValue value) {
  members_.emplace_back(hexAddress(address), std::move(value));
}

QJsonObject ByAddress::object() {
  // A QJsonObject moves all that comes behind an insertion; in the order of keys nothing does.
  std::ranges::sort(members_, {}, &std::pair<QString, QJsonValue>::first);
  QJsonObject result;
  for (const auto& [key, value] : members_) result.insert(key, value);
  return result;
}
