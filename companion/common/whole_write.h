#pragma once

#include <QFileDevice>

#include <string_view>

/// Writes all of `text` into the open `file` and hands it to the system. Where that fails, also halfway, as
/// on a disk that fills up, returns false, and `file.errorString()` says why.
///
/// To be asked before QSaveFile::commit(), which does not notice in every version of Qt that a part is
/// missing.
bool writeWhole(QFileDevice& file, std::string_view text);
