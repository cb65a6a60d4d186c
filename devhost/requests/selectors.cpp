#include "devhost/requests/selectors.h"

#include "devhost/requests/requests.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

namespace {

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
