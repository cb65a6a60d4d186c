#include "devhost/requests/parts_of_answers.h"
#include "devhost/requests/requests.h"
#include "devhost/requests/search.h"

namespace {

TextsAt stringsOf(const Document& document) {
  TextsAt result;
  for (const StringAt& string : document.analysis().strings) {
    result.emplace_back(string.address, document.textOf(string));
  }
  return result;
}

}  // namespace

QJsonValue stringList(DocumentList& documents, const QJsonArray&, QString&) {
  return asObject(stringsOf(documents.current()));
}

QJsonValue searchString(DocumentList& documents, const QJsonArray& args, QString& error) {
  return search(args, stringsOf(documents.current()), error);
}
