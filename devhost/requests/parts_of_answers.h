#pragma once

#include "devhost/document/document.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <cstdint>
#include <utility>
#include <vector>

/// Members of an object whose keys are addresses.
class ByAddress {
 public:
  void add(std::uint64_t address, QJsonValue value);

  QJsonObject object();

 private:
  std::vector<std::pair<QString, QJsonValue>> members_;
};

/// Texts by address, as an object.
template <typename Texts>
QJsonObject asObject(const Texts& texts) {
  ByAddress result;
  for (const auto& [address, text] : texts) result.add(address, text);
  return result.object();
}

using TextsAt = std::vector<std::pair<std::uint64_t, QString>>;
