#pragma once

// The requests that the host answers, by area. Each takes its arguments to be of the types that the table in
// selectors.cpp gives; when it fails, it fills in `error` with a sentence that names the wrong value.

#include "devhost/document/document.h"

#include <QJsonArray>
#include <QJsonValue>
#include <QString>

// document_requests.cpp
QJsonValue documentList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue currentDocument(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setCurrentDocument(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue segmentList(DocumentList& documents, const QJsonArray& args, QString& error);

// procedure_requests.cpp
QJsonValue procedureList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue procedureSizeList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue procedureInfoList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue searchProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue infoOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue addressOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue asmOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue pseudoCodeOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue callersOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue calleesOfProcedure(DocumentList& documents, const QJsonArray& args, QString& error);

// address_requests.cpp
QJsonValue currentAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue currentProcedure(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue gotoAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue nextAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue prevAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue referencesToAddress(DocumentList& documents, const QJsonArray& args, QString& error);

// string_requests.cpp
QJsonValue stringList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue searchString(DocumentList& documents, const QJsonArray& args, QString& error);

// comment_requests.cpp
QJsonValue commentAt(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue inlineCommentAt(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setComment(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setInlineComment(DocumentList& documents, const QJsonArray& args, QString& error);

// name_requests.cpp
QJsonValue nameList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue searchName(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue nameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setNameOfAddress(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setNamesOfAddresses(DocumentList& documents, const QJsonArray& args, QString& error);

// bookmark_requests.cpp
QJsonValue bookmarkList(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue setBookmark(DocumentList& documents, const QJsonArray& args, QString& error);
QJsonValue unsetBookmark(DocumentList& documents, const QJsonArray& args, QString& error);
