#include "devhost/demo/transcript.h"

#include <QTextStream>

namespace {

constexpr int kMaxLines = 12;     // of one answer
constexpr int kMaxColumns = 100;  // of one line
constexpr const char* kBold = "1";
constexpr const char* kFaint = "2";
constexpr const char* kRed = "31";
constexpr const char* kGreen = "32";
constexpr const char* kCyan = "36";

QString shortened(const QString& line) {
  return line.size() <= kMaxColumns ? line : line.left(kMaxColumns - 4) + " ...";
}

void print(const QString& line) {
  QTextStream out(stdout);
  out << line << '\n';
}

}  // namespace

QString Transcript::coloured(const QString& text, const char* code) const {
  return inColour_ ? QString("\x1b[%1m%2\x1b[0m").arg(code, text) : text;
}

void Transcript::title(const QString& text) {
  print("");
  print(coloured(text, kBold));
}

void Transcript::exchange(const QString& question, const QString& call, const QStringList& answer,
                          bool asExpected) {
  ++exchanges_;
  print("");
  print(QString("%1. %2").arg(exchanges_, 2).arg(coloured(question, kBold)));
  print("    " + coloured("> " + shortened(call), kCyan));
  for (const QString& line : answer.mid(0, kMaxLines)) print("    " + shortened(line));
  if (answer.size() > kMaxLines) {
    print("    " + coloured(QString("... and %1 more").arg(answer.size() - kMaxLines), kFaint));
  }
  if (asExpected) return;
  ++wrong_;
  print("    " + coloured("^ this is not the answer it should be", kRed));
}

void Transcript::summary() {
  print("");
  print(wrong_ == 0
            ? coloured(QString("All %1 answers are as they should be.").arg(exchanges_), kGreen)
            : coloured(QString("%1 of %2 answers are not as they should be.").arg(wrong_).arg(exchanges_),
                       kRed));
}
