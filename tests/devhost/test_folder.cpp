#include "devhost/test_folder.h"

#include <QFile>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>

QString TestFolder::write(const QString& name, const QByteArray& bytes) const {
  QFile file(path(name));
  EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(file.fileName());
  EXPECT_EQ(file.write(bytes), bytes.size());
  return file.fileName();
}

QString testDataPath(const QString& name) {
  return QStringLiteral(ORVANE_SOURCE_DIR "/tests/devhost/data/") + name;
}

QByteArray readFile(const QString& path) {
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
  return file.readAll();
}

QByteArray outputOf(const QString& command) {
  std::FILE* const pipe = popen(qPrintable(command), "re");
  EXPECT_NE(pipe, nullptr) << qPrintable(command);
  if (pipe == nullptr) return {};
  QByteArray output;
  std::array<char, 1 << 16> piece;
  while (const std::size_t taken = std::fread(piece.data(), 1, piece.size(), pipe)) {
    output.append(piece.data(), static_cast<qsizetype>(taken));
  }
  EXPECT_EQ(pclose(pipe), 0) << qPrintable(command);
  return output;
}
