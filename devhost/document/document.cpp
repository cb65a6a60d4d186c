#include "devhost/document/document.h"

#include <QByteArray>
#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

namespace {

constexpr QLatin1StringView kBlockLabelPrefix("loc_");

std::uint64_t firstAddressToShow(const OpenedFile& file) {
  if (file.image.entryPoint != kNoAddress) return file.image.entryPoint;
  if (!file.analysis.procedures.empty()) return file.analysis.procedures.front().entry;
  return file.image.segments.front().start;
}

std::optional<std::uint64_t> hexNumber(QStringView digits) {
  // Blanks, signs and a second prefix would be taken too.
  const auto isDigit = [](QChar digit) {
    return digit.unicode() < 0x80 && std::isxdigit(digit.unicode()) != 0;
  };
  if (!std::ranges::all_of(digits, isDigit)) return std::nullopt;
  bool isNumber = false;
  const std::uint64_t value = digits.toULongLong(&isNumber, 16);
  return isNumber ? std::optional(value) : std::nullopt;
}

}  // namespace

QString hexAddress(std::uint64_t address) {
  return QLatin1StringView("0x") + QLatin1StringView(hexDigits(address));
}

bool readsAsJson(const QString& text) {
  return text.startsWith(u'{') || text.startsWith(u'[');
}

QString asPlainText(const QString& text) {
  return readsAsJson(text) ? u' ' + text : text;
}

QString fromPlainText(const QString& text) {
  return text.startsWith(u' ') && readsAsJson(text.sliced(1)) ? text.sliced(1) : text;
}

Document::Document(QString name, OpenedFile file)
    : name_(std::move(name)), file_(std::move(file)), bytes_(file_.image, file_.bytes) {
  cursor_ = firstAddressToShow(file_);
  for (const NameAt& known : file_.analysis.names) {
    const QString label = QString::fromStdString(known.name);
    names_.emplace_hint(names_.end(), known.address, label);
    addressesByLabel_.insert(label, known.address);
  }
  for (const NameAt& alias : file_.analysis.aliases) {
    addressesByLabel_.insert(QString::fromStdString(alias.name), alias.address);
  }
}

QString Document::textOf(const StringAt& string) const {
  const auto bytes = bytes_.from(string.address).first(string.length);
  const QByteArray copy(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
  if (!string.isWide) return QString::fromLatin1(copy);
  return QStringDecoder(QStringDecoder::Utf16LE).decode(copy);
}

QString Document::nameOf(std::uint64_t address) const {
  const auto found = names_.find(address);
  return found == names_.end() ? QString() : found->second;
}

QString Document::ownNameOf(std::uint64_t address) const {
  const auto own = std::ranges::lower_bound(analysis().names, address, {}, &NameAt::address);
  if (own == analysis().names.end() || own->address != address) return {};
  return QString::fromStdString(own->name);
}

bool Document::isBlockStart(std::uint64_t address) const {
  const auto index = analysis().instructionAt(address);
  if (!index) return false;
  const Instruction& instruction = analysis().instructions[*index];
  return instruction.address == address && instruction.startsBlock && instruction.procedure != kNoProcedure;
}

QString Document::labelOf(std::uint64_t address) const {
  QString name = nameOf(address);
  if (name.isEmpty() && isBlockStart(address))
    name = kBlockLabelPrefix + QLatin1StringView(hexDigits(address));
  return name;
}

void Document::setName(std::uint64_t address, const QString& name) {
  addressesByLabel_.remove(nameOf(address), address);
  const QString next = name.isEmpty() ? ownNameOf(address) : name;
  if (next.isEmpty()) {
    names_.erase(address);
    return;
  }
  names_[address] = next;
  addressesByLabel_.insert(next, address);
}

std::optional<std::uint64_t> Document::addressOfLabel(const QString& text) const {
  const QString label = fromPlainText(text);
  const auto [first, last] = addressesByLabel_.equal_range(label);
  if (first != last) return *std::min_element(first, last);
  if (!label.startsWith(kBlockLabelPrefix)) return std::nullopt;
  const auto address = hexNumber(QStringView(label).sliced(kBlockLabelPrefix.size()));
  return address && labelOf(*address) == label ? address : std::nullopt;
}

std::optional<std::uint64_t> Document::addressFrom(const QString& text, QString& error) const {
  if (text.isEmpty()) return cursor_;
  const bool prefixed = text.startsWith(QLatin1StringView("0x"), Qt::CaseInsensitive);
  if (!prefixed) {
    if (const auto labelled = addressOfLabel(text)) return labelled;
  }
  const auto number = hexNumber(prefixed ? QStringView(text).sliced(2) : QStringView(text));
  if (number && image().segmentAt(*number) != nullptr) return number;
  error = number
              ? QStringLiteral("The address \"%1\" is not part of the document \"%2\".").arg(text, name_)
              : QStringLiteral("\"%1\" is neither a hexadecimal address nor a label of the document \"%2\".")
                    .arg(text, name_);
  return std::nullopt;
}

const Procedure* Document::procedureFrom(const QString& text, QString& error) const {
  const std::optional<std::uint64_t> address = addressFrom(text, error);
  const Procedure* procedure = address ? analysis().procedureAt(*address) : nullptr;
  if (procedure != nullptr) return procedure;
  error = text.isEmpty()
              ? QStringLiteral("The current address %1 is not part of a procedure.").arg(hexAddress(cursor_))
              : QStringLiteral("There is no procedure \"%1\" in the document \"%2\".").arg(text, name_);
  return nullptr;
}

std::uint64_t Document::itemStart(std::uint64_t address) const {
  if (const auto index = analysis().instructionAt(address)) return analysis().instructions[*index].address;
  if (const StringAt* string = analysis().stringAt(address)) return string->address;
  // The zero that closes a string is part of it.
  for (std::uint64_t back = 1; back <= 2 && back <= address; ++back) {
    const StringAt* closed = analysis().stringAt(address - back);
    if (closed != nullptr && address < endOf(*closed)) return closed->address;
  }
  return address;
}

std::uint64_t Document::itemEnd(std::uint64_t address) const {
  if (const auto index = analysis().instructionAt(address)) {
    const Instruction& instruction = analysis().instructions[*index];
    return instruction.address + instruction.size;
  }
  const StringAt* string = analysis().stringAt(itemStart(address));
  if (string == nullptr) return address + 1;
  return endOf(*string);
}

std::uint64_t Document::endOf(const StringAt& string) const {
  const std::uint64_t end = string.address + string.length;
  const std::uint64_t zero = string.isWide ? 2 : 1;
  return bytes_.number(end, zero) == std::uint64_t{0} ? end + zero : end;
}

std::uint64_t Document::shownAt(std::uint64_t address) const {
  const auto index = analysis().instructionAt(address);
  return index ? analysis().instructions[*index].address : address;
}

std::optional<std::uint64_t> Document::addressAfter(std::uint64_t address) const {
  const std::uint64_t next = itemEnd(address);
  if (image().segmentAt(next) != nullptr) return next;
  const auto following = std::ranges::upper_bound(image().segments, address, {}, &Segment::start);
  if (following == image().segments.end()) return std::nullopt;
  return following->start;
}

std::optional<std::uint64_t> Document::addressBefore(std::uint64_t address) const {
  const std::uint64_t start = itemStart(address);
  if (start > 0 && image().segmentAt(start - 1) != nullptr) return itemStart(start - 1);
  const auto own = std::ranges::lower_bound(image().segments, start, {}, &Segment::start);
  if (own == image().segments.begin()) return std::nullopt;
  return itemStart(std::prev(own)->end - 1);
}

void DocumentList::add(const QString& path, OpenedFile file) {
  const QString base = QFileInfo(path).fileName();
  QString name = base;
  for (int number = 2; names().contains(name); ++number) {
    name = QStringLiteral("%1 (%2)").arg(base, QString::number(number));
  }
  documents_.push_back(std::make_unique<Document>(name, std::move(file)));
}

QStringList DocumentList::names() const {
  QStringList result;
  for (const auto& document : documents_) result.append(document->name());
  return result;
}

bool DocumentList::setCurrent(const QString& name) {
  const qsizetype index = names().indexOf(fromPlainText(name));
  if (index >= 0) current_ = static_cast<std::size_t>(index);
  return index >= 0;
}
