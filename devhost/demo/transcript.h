#pragma once

#include <QString>
#include <QStringList>

/// Prints a conversation for a person to read, and keeps count of the answers that were not as they should
/// be.
class Transcript {
 public:
  /// Colours are for terminals only.
  explicit Transcript(bool inColour) : inColour_(inColour) {}

  void title(const QString& text);

  /// One exchange: what was asked, in words; the call that asked it; the lines that matter of the answer; and
  /// whether the answer is what it should be.
  void exchange(const QString& question, const QString& call, const QStringList& answer, bool asExpected);

  /// The last line: how many were asked and how many went wrong.
  void summary();

  bool allAsExpected() const { return wrong_ == 0; }

 private:
  QString coloured(const QString& text, const char* code) const;

  const bool inColour_;
  int exchanges_ = 0;
  int wrong_ = 0;
};
