#pragma once

#include "devhost/requests/parts_of_answers.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QString>

/// Those of `candidates` (address and text) that match the pattern `args[0]`; `args[1]` says whether upper
/// and lower case differ. On failure `error` is one sentence.
QJsonValue search(const QJsonArray& args, const TextsAt& candidates, QString& error);
