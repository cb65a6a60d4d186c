#include "devhost/document/listing.h"
#include "devhost/requests/parts_of_answers.h"
#include "devhost/requests/requests.h"
#include "devhost/requests/search.h"

#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace {

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
         QLatin1StringView(hexDigits(static_cast<std::uint64_t>(distance < 0 ? -distance : distance)));
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

TextsAt proceduresOf(const Document& document) {
  TextsAt result;
  for (const Procedure& procedure : document.analysis().procedures) {
    result.emplace_back(procedure.entry, document.nameOf(procedure.entry));
  }
  return result;
}

/// The name of what a call leads to: an import without a stub goes by its own name, not by its slot's,
/// unless a user has named the slot.
QString calleeName(const Document& document, std::uint64_t callee) {
  const ImportSlot* slot = document.image().importSlotAt(callee);
  const bool isRenamed = document.nameOf(callee) != document.ownNameOf(callee);
  return slot == nullptr || isRenamed ? document.nameOf(callee) : QString::fromStdString(slot->name);
}

}  // namespace

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
