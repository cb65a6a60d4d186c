#include "devhost/document/listing.h"

#include "devhost/code/disassembler.h"

#include <QStringView>

#include <algorithm>

namespace {

/// Longest part of a string that is shown beside an instruction, in characters.
constexpr qsizetype kMaxShownString = 60;

/// Width of a mnemonic's column; longer ones push their operands to the right.
constexpr int kMnemonicWidth = 9;

bool isReferredTo(const Document& document, std::uint64_t address) {
  return std::ranges::binary_search(document.analysis().references, address, {}, &Reference::to);
}

QString quoted(QString text) {
  const bool cut = text.size() > kMaxShownString;
  text.truncate(kMaxShownString);
  text.replace(u'\\', QLatin1StringView("\\\\")).replace(u'"', QLatin1StringView("\\\""));
  text.replace(u'\n', QLatin1StringView("\\n")).replace(u'\r', QLatin1StringView("\\r"));
  text.replace(u'\t', QLatin1StringView("\\t"));
  return u'"' + text + (cut ? QLatin1StringView("...\"") : QLatin1StringView("\""));
}

/// Replaces `number`, unless it is only the beginning of a longer one. True if it was there.
bool replaceNumber(QString& operands, const QString& number, const QString& label) {
  const qsizetype at = operands.indexOf(number);
  if (at < 0) return false;
  const qsizetype end = at + number.size();
  if (end < operands.size() && operands[end].isLetterOrNumber()) return false;
  operands.replace(at, number.size(), label);
  return true;
}

/// Replaces "rip + 0x..." by `label`. True if it was there.
bool replaceRelative(QString& operands, const QString& label) {
  const qsizetype at = operands.indexOf(QLatin1StringView("rip "));
  const qsizetype end = operands.indexOf(u']', at);
  if (at < 0 || end < 0) return false;
  operands.replace(at, end - at, label);
  return true;
}

/// Shows the address that an instruction speaks of by its label; what cannot be put into the operands is
/// returned as a remark.
QString showTarget(const Document& document, std::uint64_t target, QString& operands) {
  if (target == kNoAddress) return {};
  const StringAt* string = document.analysis().stringAt(target);
  QString remark =
      string != nullptr && string->address == target ? quoted(document.textOf(*string)) : QString();
  const QString label = document.labelOf(target);
  if (replaceRelative(operands, label.isEmpty() ? hexAddress(target) : label) || label.isEmpty()) {
    if (remark.isEmpty() && label.isEmpty() && !operands.contains(hexAddress(target)))
      return hexAddress(target);
    return remark;
  }
  const QString number = hexAddress(target);
  if (replaceNumber(operands, u'#' + number, label) || replaceNumber(operands, number, label)) return remark;
  return remark.isEmpty() ? label : label + u' ' + remark;
}

QString textAt(const TextByAddress& texts, std::uint64_t address) {
  const auto found = texts.find(address);
  return found == texts.end() ? QString() : found->second;
}

/// A listing has one line for each line, so a remark of several becomes one.
QString onOneLine(QString text) {
  return text.replace(u'\n', u' ').replace(u'\r', u' ');
}

class Listing {
 public:
  explicit Listing(const Document& document)
      : document_(document), disassembler_(document.image(), document.bytes()) {}

  /// Keeps the text from beginning with a label: one that begins with a bracket would be taken for JSON.
  void addHeading(const Procedure& procedure) {
    text_ += QLatin1StringView("; procedure ") + document_.nameOf(procedure.entry) + u'\n';
  }

  void add(const Instruction& instruction) {
    addLabel(instruction);
    addComment(instruction.address);
    const auto decoded = disassembler_.text(instruction.address, instruction.thumb);
    QString operands = decoded ? QString::fromStdString(decoded->operands) : QString();
    const QString mnemonic = decoded ? QString::fromStdString(decoded->mnemonic) : QStringLiteral("?");
    QString remark = showTarget(document_, instruction.target, operands);
    const QString comment = onOneLine(textAt(document_.inlineComments, instruction.address));
    if (!comment.isEmpty()) remark = remark.isEmpty() ? comment : remark + QLatin1StringView(" ; ") + comment;

    QString line = hexAddress(instruction.address) + QLatin1StringView("    ") + mnemonic;
    if (!operands.isEmpty())
      line = hexAddress(instruction.address) + QLatin1StringView("    ") +
             mnemonic.leftJustified(kMnemonicWidth) + u' ' + operands;
    if (!remark.isEmpty()) line += QLatin1StringView("    ; ") + remark;
    text_ += line + u'\n';
  }

  QString text() const { return text_; }

 private:
  void addLabel(const Instruction& instruction) {
    const QString name = document_.nameOf(instruction.address);
    const QString label =
        isReferredTo(document_, instruction.address) ? document_.labelOf(instruction.address) : name;
    if (!label.isEmpty()) text_ += label + QLatin1StringView(":\n");
  }

  void addComment(std::uint64_t address) {
    const QString comment = textAt(document_.comments, address);
    if (comment.isEmpty()) return;
    for (const QString& line : comment.split(u'\n')) text_ += QLatin1StringView("; ") + line + u'\n';
  }

  const Document& document_;
  Disassembler disassembler_;
  QString text_;
};

}  // namespace

QString assemblyOf(const Document& document, const Procedure& procedure) {
  const Analysis& analysis = document.analysis();
  Listing listing(document);
  listing.addHeading(procedure);
  for (const BasicBlock& block : analysis.blocksOf(procedure)) {
    for (std::uint32_t i = block.first; i <= block.last; ++i) listing.add(analysis.instructions[i]);
  }
  return listing.text();
}
