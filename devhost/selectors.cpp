#include "selectors.h"

#include "listing.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QRegularExpression>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

/// Longest time that one search may take, in milliseconds. Some patterns would go on for years.
constexpr int kSearchTimeLimitMs = 10000;

// Parts of answers ---------------------------------------------------------------------------------------

/// Members of an object whose keys are addresses.
class ByAddress {
 public:
  void add(std::uint64_t address, QJsonValue value) {
    members_.emplace_back(hexAddress(address), std::move(value));
  }

  /// A QJsonObject moves all that comes behind an insertion; in the order of keys nothing does.
  QJsonObject object() {
    std::ranges::sort(members_, {}, &std::pair<QString, QJsonValue>::first);
    QJsonObject result;
    for (const auto& [key, value] : members_) result.insert(key, value);
    return result;
  }

 private:
  std::vector<std::pair<QString, QJsonValue>> members_;
};

QJsonObject describeSection(const Section& section) {
  return {{"name", QString::fromStdString(section.name)},
          {"start", hexAddress(section.start)},
          {"end", hexAddress(section.end)}};
}

QJsonObject describeSegment(const Segment& segment) {
  QJsonArray sections;
  for (const Section& section : segment.sections) sections.append(describeSection(section));
  return {{"name", QString::fromStdString(segment.name)},
          {"start", hexAddress(segment.start)},
          {"end", hexAddress(segment.end)},
          {"writeable", segment.writable},
          {"executable", segment.executable},
          {"section", sections}};
}

QJsonArray describeBlocks(const Analysis& analysis, const Procedure& procedure) {
  QJsonArray blocks;
  for (const BasicBlock& block : analysis.blocksOf(procedure)) {
    // Filled in piece by piece: a large library has a hundred thousand of them, and a list of members is
    // copied.
    QJsonObject described;
    described.insert(QLatin1StringView("from"), hexAddress(analysis.instructions[block.first].address));
    described.insert(QLatin1StringView("to"), hexAddress(analysis.instructions[block.last].address));
    blocks.append(std::move(described));
  }
  return blocks;
}

/// "var_18" lies 0x18 bytes below the register that it is reached from, "stack_18" as much above it.
QString localName(std::int32_t displacement) {
  const std::int64_t distance = displacement;
  return (distance < 0 ? QStringLiteral("var_") : QStringLiteral("stack_")) +
         QString::number(distance < 0 ? -distance : distance, 16);
}

QJsonArray describeLocals(const Analysis& analysis, const Procedure& procedure) {
  QJsonArray locals;
  for (const Local& local : analysis.localsOf(procedure)) {
    locals.append(QJsonObject{{"name", localName(local.displacement)}, {"displacement", local.displacement}});
  }
  return locals;
}

QJsonObject describeProcedure(const Document& document, const Procedure& procedure) {
  const Analysis& analysis = document.analysis();
  QJsonObject result{{"name", document.nameOf(procedure.entry)},
                     {"entrypoint", hexAddress(procedure.entry)},
                     {"basicblock_count", static_cast<qint64>(procedure.blockCount)},
                     {"basicblocks", describeBlocks(analysis, procedure)},
                     {"length", static_cast<qint64>(procedure.length)},
                     {"locals", describeLocals(analysis, procedure)}};
  const auto signature = std::ranges::lower_bound(analysis.signatures, procedure.entry, {}, &NameAt::address);
  if (signature != analysis.signatures.end() && signature->address == procedure.entry) {
    result.insert("signature", QString::fromStdString(signature->name));
  }
  return result;
}

QJsonObject describeBookmark(std::uint64_t address, const QString& name) {
  QJsonObject bookmark{{"address", hexAddress(address)}};
  if (!name.isEmpty()) bookmark.insert("name", name);
  return bookmark;
}

// Searching ----------------------------------------------------------------------------------------------

/// Those of `candidates` (address and text) that match the request's pattern.
template <typename Candidates>
QJsonValue search(const QJsonArray& args, const Candidates& candidates, QString& error) {
  const QString pattern = args[0].toString();
  const auto option =
      args[1].toBool() ? QRegularExpression::NoPatternOption : QRegularExpression::CaseInsensitiveOption;
  const QRegularExpression expression(pattern, option);
  if (!expression.isValid()) {
    error = QStringLiteral("\"%1\" is not a regular expression: %2.").arg(pattern, expression.errorString());
    return {};
  }
  const QDeadlineTimer deadline(kSearchTimeLimitMs);
  ByAddress found;
  for (const auto& [address, text] : candidates) {
    if (expression.match(text).hasMatch()) found.add(address, text);
    if (!deadline.hasExpired()) continue;
    error = QStringLiteral("Matching \"%1\" takes too long.").arg(pattern);
    return {};
  }
  return found.object();
}

using TextsAt = std::vector<std::pair<std::uint64_t, QString>>;

TextsAt stringsOf(const Document& document) {
  TextsAt result;
  for (const StringAt& string : document.analysis().strings) {
    result.emplace_back(string.address, document.textOf(string));
  }
  return result;
}

TextsAt proceduresOf(const Document& document) {
  TextsAt result;
  for (const Procedure& procedure : document.analysis().procedures) {
    result.emplace_back(procedure.entry, document.nameOf(procedure.entry));
  }
  return result;
}

template <typename Texts>
QJsonObject asObject(const Texts& texts) {
  ByAddress result;
  for (const auto& [address, text] : texts) result.add(address, text);
  return result.object();
}

// Documents ----------------------------------------------------------------------------------------------

QJsonValue documentList(DocumentList& documents, const QJsonArray&, QString&) {
  return QJsonArray::fromStringList(documents.names());
}

QJsonValue currentDocument(DocumentList& documents, const QJsonArray&, QString&) {
  return documents.current().name();
}

QJsonValue setCurrentDocument(DocumentList& documents, const QJsonArray& args, QString& error) {
  const QString name = args[0].toString();
  if (documents.setCurrent(name)) return QStringLiteral("The current document is \"%1\".").arg(name);
  error = QStringLiteral("There is no document \"%1\".").arg(name);
  return {};
}

QJsonValue segmentList(DocumentList& documents, const QJsonArray&, QString&) {
  QJsonArray result;
  for (const Segment& segment : documents.current().image().segments) {
    result.append(describeSegment(segment));
  }
  return result;
}

// Procedures ---------------------------------------------------------------------------------------------

QJsonValue procedureList(DocumentList& documents, const QJsonArray&, QString&) {
  return asObject(proceduresOf(documents.current()));
}

QJsonValue procedureSizeList(DocumentList& documents, const QJsonArray&, QString&) {
  const Document& document = documents.current();
  ByAddress result;
  for (const Procedure& procedure : document.analysis().procedures) {
    result.add(procedure.entry, QJsonObject{{"name", document.nameOf(procedure.entry)},
                                            {"basicblock_count", static_cast<qint64>(procedure.blockCount)},
                                            {"size", static_cast<qint64>(procedure.length)}});
  }
  return result.object();
}

QJsonValue procedureInfoList(DocumentList& documents, const QJsonArray&, QString&) {
  const Document& document = documents.current();
  ByAddress result;
  for (const Procedure& procedure : document.analysis().procedures) {
    result.add(procedure.entry, describeProcedure(document, procedure));
  }
  return result.object();
}

QJsonValue searchProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  return search(args, proceduresOf(documents.current()), error);
}

QJsonValue infoOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  return describeProcedure(document, *procedure);
}

QJsonValue addressOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Procedure* procedure = documents.current().procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  return hexAddress(procedure->entry);
}

QJsonValue asmOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  return assemblyOf(document, *procedure);
}

QJsonValue pseudoCodeOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  error = QStringLiteral("There is no pseudo-code of \"%1\": the development host has no decompiler.")
              .arg(document.nameOf(procedure->entry));
  return {};
}

QJsonValue callersOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  QJsonArray names;
  const auto& calls = document.analysis().callsByCallee;
  for (const Call& call : partWhere(calls, &Call::callee, procedure->entry)) {
    names.append(document.nameOf(document.analysis().procedures[call.caller].entry));
  }
  return names;
}

/// The name of what a call leads to: an import without a stub goes by its own name, not by its slot's.
QString calleeName(const Document& document, std::uint64_t callee) {
  const ImportSlot* slot = document.image().importSlotAt(callee);
  return slot == nullptr ? document.nameOf(callee) : QString::fromStdString(slot->name);
}

QJsonValue calleesOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(args[0].toString(), error);
  if (procedure == nullptr) return {};
  const auto index = static_cast<std::uint32_t>(procedure - document.analysis().procedures.data());
  QJsonArray names;
  const auto& calls = document.analysis().callsByCaller;
  for (const Call& call : partWhere(calls, &Call::caller, index)) {
    names.append(calleeName(document, call.callee));
  }
  return names;
}

// Addresses ----------------------------------------------------------------------------------------------

QJsonValue currentAddress(DocumentList& documents, const QJsonArray&, QString&) {
  return hexAddress(documents.current().cursor());
}

QJsonValue currentProcedure(DocumentList& documents, const QJsonArray&, QString& error) {
  const Document& document = documents.current();
  const Procedure* procedure = document.procedureFrom(QString(), error);
  if (procedure == nullptr) return {};
  return document.nameOf(procedure->entry);
}

QJsonValue gotoAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  document.setCursor(*address);
  return QStringLiteral("The current address is %1.").arg(hexAddress(*address));
}

QJsonValue nextAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto next = document.addressAfter(*address);
  if (next) return hexAddress(*next);
  error = QStringLiteral("No address comes after %1.").arg(hexAddress(*address));
  return {};
}

QJsonValue prevAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto previous = document.addressBefore(*address);
  if (previous) return hexAddress(*previous);
  error = QStringLiteral("No address comes before %1.").arg(hexAddress(*address));
  return {};
}

QJsonValue referencesToAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  QJsonArray result;
  const auto& references = document.analysis().references;
  for (const Reference& reference : partWhere(references, &Reference::to, *address)) {
    result.append(hexAddress(reference.from));
  }
  return result;
}

// Strings ------------------------------------------------------------------------------------------------

QJsonValue stringList(DocumentList& documents, const QJsonArray&, QString&) {
  return asObject(stringsOf(documents.current()));
}

QJsonValue searchString(DocumentList& documents, const QJsonArray& args, QString& error) {
  return search(args, stringsOf(documents.current()), error);
}

// Comments -----------------------------------------------------------------------------------------------

QJsonValue textAt(DocumentList& documents, TextByAddress Document::*texts, const QJsonArray& args,
                  QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  const auto found = (document.*texts).find(*address);
  return found == (document.*texts).end() ? QString("") : found->second;
}

QJsonValue setTextAt(DocumentList& documents, TextByAddress Document::*texts, const QString& what,
                     const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QString text = args[0].toString();
  const auto address = document.addressFrom(args[1].toString(), error);
  if (!address) return {};
  if (text.isEmpty()) {
    (document.*texts).erase(*address);
    return QStringLiteral("Removed the %1 at %2.").arg(what, hexAddress(*address));
  }
  (document.*texts)[*address] = text;
  return QStringLiteral("Set the %1 at %2.").arg(what, hexAddress(*address));
}

QJsonValue commentAt(DocumentList& documents, const QJsonArray& args, QString& error) {
  return textAt(documents, &Document::comments, args, error);
}

QJsonValue inlineCommentAt(DocumentList& documents, const QJsonArray& args, QString& error) {
  return textAt(documents, &Document::inlineComments, args, error);
}

QJsonValue setComment(DocumentList& documents, const QJsonArray& args, QString& error) {
  return setTextAt(documents, &Document::comments, QStringLiteral("comment"), args, error);
}

QJsonValue setInlineComment(DocumentList& documents, const QJsonArray& args, QString& error) {
  return setTextAt(documents, &Document::inlineComments, QStringLiteral("inline comment"), args, error);
}

// Names --------------------------------------------------------------------------------------------------

QJsonValue nameList(DocumentList& documents, const QJsonArray&, QString&) {
  return asObject(documents.current().names());
}

QJsonValue searchName(DocumentList& documents, const QJsonArray& args, QString& error) {
  return search(args, documents.current().names(), error);
}

QJsonValue nameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  const Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  return document.nameOf(*address);
}

/// A name that would break the lines of a listing is none.
bool isName(const QString& name, QString& error) {
  const bool clean =
      std::ranges::none_of(name, [](QChar unit) { return unit.category() == QChar::Other_Control; });
  if (!clean) error = QStringLiteral("\"%1\" cannot be a name: it has a control character.").arg(name);
  return clean;
}

QJsonValue setNameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QString name = args[1].toString();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address || !isName(name, error)) return {};
  document.setName(*address, name);
  if (name.isEmpty()) return QStringLiteral("Removed the name of %1.").arg(hexAddress(*address));
  return QStringLiteral("Set the name of %1 to \"%2\".").arg(hexAddress(*address), name);
}

/// All of the names or none: when one address is wrong, nothing has changed.
QJsonValue setNamesOfAddresses(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const QJsonObject names = args[0].toObject();
  TextsAt resolved;
  for (auto it = names.begin(); it != names.end(); ++it) {
    // An empty key is no address: here nothing stands for the current one.
    const auto address = it.key().isEmpty() ? std::nullopt : document.addressFrom(it.key(), error);
    if (it.key().isEmpty()) error = QStringLiteral("\"\" is not an address.");
    if (address && !it.value().isString()) {
      error = QStringLiteral("The name of \"%1\" is not a string.").arg(it.key());
      return {};
    }
    if (!address || !isName(it.value().toString(), error)) return {};
    resolved.emplace_back(*address, it.value().toString());
  }
  for (const auto& [address, name] : resolved) document.setName(address, name);
  return resolved.size() == 1 ? QStringLiteral("Set the name of 1 address.")
                              : QStringLiteral("Set the names of %1 addresses.").arg(resolved.size());
}

// Bookmarks ----------------------------------------------------------------------------------------------

QJsonValue bookmarkList(DocumentList& documents, const QJsonArray&, QString&) {
  QJsonArray result;
  for (const auto& [address, name] : documents.current().bookmarks) {
    result.append(describeBookmark(address, name));
  }
  return result;
}

QJsonValue setBookmark(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  document.bookmarks[*address] = args[1].toString();
  return QStringLiteral("Set a bookmark at %1.").arg(hexAddress(*address));
}

QJsonValue unsetBookmark(DocumentList& documents, const QJsonArray& args, QString& error) {
  Document& document = documents.current();
  const auto address = document.addressFrom(args[0].toString(), error);
  if (!address) return {};
  if (document.bookmarks.erase(*address) > 0) {
    return QStringLiteral("Removed the bookmark at %1.").arg(hexAddress(*address));
  }
  error = QStringLiteral("There is no bookmark at %1.").arg(hexAddress(*address));
  return {};
}

// The table ----------------------------------------------------------------------------------------------

constexpr Selector kSelectors[] = {
    {"documentListWithReply:", Arguments::kNone, documentList},
    {"currentDocumentWithReply:", Arguments::kNone, currentDocument},
    {"setCurrentDocument:withReply:", Arguments::kText, setCurrentDocument},
    {"segmentListWithReply:", Arguments::kNone, segmentList},
    {"procedureListWithReply:", Arguments::kNone, procedureList},
    {"procedureSizeListWithReply:", Arguments::kNone, procedureSizeList},
    {"procedureInfoListWithReply:", Arguments::kNone, procedureInfoList},
    {"stringListWithReply:", Arguments::kNone, stringList},
    {"searchStringUsingPattern:caseSensitive:withReply:", Arguments::kTextAndFlag, searchString},
    {"searchProcedureUsingPattern:caseSensitive:withReply:", Arguments::kTextAndFlag, searchProcedure},
    {"infoOfProcedure:withReply:", Arguments::kText, infoOfProcedure},
    {"addressOfProcedure:withReply:", Arguments::kText, addressOfProcedure},
    {"currentAddressWithReply:", Arguments::kNone, currentAddress},
    {"currentProcedureWithReply:", Arguments::kNone, currentProcedure},
    {"gotoAddress:withReply:", Arguments::kText, gotoAddress},
    {"asmOfProcedure:withReply:", Arguments::kText, asmOfProcedure},
    {"pseudoCodeOfProcedure:withReply:", Arguments::kText, pseudoCodeOfProcedure},
    {"callersOfProcedure:withReply:", Arguments::kText, callersOfProcedure},
    {"calleesOfProcedure:withReply:", Arguments::kText, calleesOfProcedure},
    {"referencesToAddress:withReply:", Arguments::kText, referencesToAddress},
    {"commentAtAddress:withReply:", Arguments::kText, commentAt},
    {"inlineCommentAtAddress:withReply:", Arguments::kText, inlineCommentAt},
    {"setComment:atAddress:withReply:", Arguments::kTwoTexts, setComment},
    {"setInlineComment:atAddress:withReply:", Arguments::kTwoTexts, setInlineComment},
    {"nextAddress:withReply:", Arguments::kText, nextAddress},
    {"prevAddress:withReply:", Arguments::kText, prevAddress},
    {"nameListWithReply:", Arguments::kNone, nameList},
    {"searchNameUsingPattern:caseSensitive:withReply:", Arguments::kTextAndFlag, searchName},
    {"nameOfAddress:withReply:", Arguments::kText, nameOfAddress},
    {"setNameOfAddress:to:withReply:", Arguments::kTwoTexts, setNameOfAddress},
    {"setNamesOfAddresses:withReply:", Arguments::kTextByText, setNamesOfAddresses},
    {"bookmarkListWithReply:", Arguments::kNone, bookmarkList},
    {"setBookmarkAtAddress:withName:withReply:", Arguments::kTwoTexts, setBookmark},
    {"unsetBookmarkAtAddress:withReply:", Arguments::kText, unsetBookmark},
};

// Requests -----------------------------------------------------------------------------------------------

/// What an argument must be.
struct ArgumentType {
  QJsonValue::Type type;
  const char* name;
};
constexpr ArgumentType kText = {QJsonValue::String, "a string"};
constexpr ArgumentType kFlag = {QJsonValue::Bool, "a boolean"};
constexpr ArgumentType kObject = {QJsonValue::Object, "an object"};

std::vector<ArgumentType> typesOf(Arguments arguments) {
  switch (arguments) {
    case Arguments::kNone: return {};
    case Arguments::kText: return {kText};
    case Arguments::kTextAndFlag: return {kText, kFlag};
    case Arguments::kTwoTexts: return {kText, kText};
    case Arguments::kTextByText: return {kObject};
  }
  return {};
}

bool fits(const QJsonArray& args, const Selector& selector, QString& error) {
  const std::vector<ArgumentType> types = typesOf(selector.arguments);
  const QLatin1StringView name(selector.name);
  if (args.size() != static_cast<qsizetype>(types.size())) {
    error = QStringLiteral("The request \"%1\" takes %2 argument%3, not %4.")
                .arg(name, QString::number(types.size()), QLatin1StringView(types.size() == 1 ? "" : "s"),
                     QString::number(args.size()));
    return false;
  }
  for (std::size_t i = 0; i < types.size(); ++i) {
    if (args[static_cast<qsizetype>(i)].type() == types[i].type) continue;
    error = QStringLiteral("Argument %1 of the request \"%2\" is not %3.")
                .arg(QString::number(i + 1), name, QLatin1StringView(types[i].name));
    return false;
  }
  return true;
}

const Selector* selectorNamed(const QString& name) {
  const auto found = std::ranges::find_if(
      kSelectors, [&](const Selector& entry) { return name == QLatin1StringView(entry.name); });
  return found == std::end(kSelectors) ? nullptr : found;
}

QJsonValue answerTo(DocumentList& documents, const QJsonObject& request, QString& error) {
  const QString name = request["request"].toString();
  const Selector* selector = selectorNamed(name);
  if (selector == nullptr) {
    error = QStringLiteral("There is no request \"%1\".").arg(name);
    return {};
  }
  if (!request["args"].isArray()) {
    error = QStringLiteral("The request \"%1\" has no array \"args\".").arg(name);
    return {};
  }
  const QJsonArray args = request["args"].toArray();
  if (!fits(args, *selector, error)) return {};
  return selector->answer(documents, args, error);
}

}  // namespace

std::span<const Selector> selectors() {
  return kSelectors;
}

QJsonObject failureReply(const QString& error) {
  return {{"success", false}, {"error", error}};
}

QJsonObject replyTo(DocumentList& documents, const QByteArray& line) {
  QJsonParseError parseError;
  const QJsonDocument request = QJsonDocument::fromJson(line, &parseError);
  if (parseError.error != QJsonParseError::NoError) {
    return failureReply(QStringLiteral("The request is not JSON: %1.").arg(parseError.errorString()));
  }
  if (!request.isObject()) return failureReply(QStringLiteral("The request is not a JSON object."));
  QString error;
  const QJsonValue result = answerTo(documents, request.object(), error);
  if (!error.isEmpty()) return failureReply(error);
  return {{"success", true}, {"result", result}};
}
