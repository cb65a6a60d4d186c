#pragma once

// Plain data to bytes and back, for the pipe between two processes of the same program.

#include "opened_file.h"

#include <QByteArray>

/// The description and analysis of a file as bytes; its own bytes are left out.
QByteArray toFlatData(const BinaryImage& image, const Analysis& analysis);

/// Fills in `file` from what toFlatData made. False if the bytes are damaged, or if they would have a reader
/// of `file` look outside its lists or beyond `file.bytes`, which must be in place.
bool fromFlatData(const QByteArray& data, OpenedFile& file);
