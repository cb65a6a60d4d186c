#pragma once

// Plain data to bytes and back, for the pipe between two processes of the same program.

#include "devhost/code/analysis.h"
#include "devhost/image/binary_image.h"

#include <QByteArray>

#include <cstdint>

/// The description and analysis of a file as bytes; its own bytes are left out.
QByteArray toFlatData(const BinaryImage& image, const Analysis& analysis);

/// Fills in `image` and `analysis` from what toFlatData made. False if the bytes are damaged, or if they
/// would have a reader look outside its lists or beyond the file, which has `fileSize` bytes.
bool fromFlatData(const QByteArray& data, std::uint64_t fileSize, BinaryImage& image, Analysis& analysis);
