#pragma once

// An open document: an executable file and what its users have added. All that ever changes is here.

#include "devhost/document/opened_file.h"

#include <QMultiHash>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

/// Texts by the address that they belong to.
using TextByAddress = std::map<std::uint64_t, QString>;

/// "0x" and the address in lower-case hexadecimal digits: how every address is written.
QString hexAddress(std::uint64_t address);

/// Whether clients of the server would take an answer of this text for JSON, and lose it: the server parses
/// every answer that begins with a bracket.
bool readsAsJson(const QString& text);

/// `text` as an answer of its own: with a blank in front of a bracket, so that it arrives as it is.
QString asPlainText(const QString& text);
/// `text` as it was before asPlainText(), which clients may ask with.
QString fromPlainText(const QString& text);

class Document {
 public:
  Document(QString name, OpenedFile file);
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  const QString& name() const { return name_; }
  const BinaryImage& image() const { return file_.image; }
  const Analysis& analysis() const { return file_.analysis; }
  const MappedBytes& bytes() const { return bytes_; }
  QString textOf(const StringAt& string) const;

  /// The current address; always one of the document.
  std::uint64_t cursor() const { return cursor_; }
  void setCursor(std::uint64_t address) { cursor_ = address; }

  /// Every name by its address. Procedures always have one.
  const TextByAddress& names() const { return names_; }
  QString nameOf(std::uint64_t address) const;
  /// The name that `address` has without its users; empty if none.
  QString ownNameOf(std::uint64_t address) const;
  /// The name of `address`, else "loc_..." where a basic block begins, else nothing.
  QString labelOf(std::uint64_t address) const;
  /// An empty `name` removes what users have named it: the file's own name, if it has one, is back.
  void setName(std::uint64_t address, const QString& name);

  /// The address of the instruction that `address` is part of, where it shows; elsewhere `address` itself.
  std::uint64_t shownAt(std::uint64_t address) const;

  /// Added by users; an address without one has no entry. Comments stand at addresses that show.
  TextByAddress comments;
  TextByAddress inlineComments;
  TextByAddress bookmarks;  ///< a bookmark's name may be empty

  /// The address that `text` stands for: hexadecimal digits or a label, or the current address if it is
  /// empty. Nothing if there is none; `error` is then a sentence that names `text`.
  std::optional<std::uint64_t> addressFrom(const QString& text, QString& error) const;

  /// The procedure that `text` names, or that the address `text` is part of; the current one if it is empty.
  /// Null if there is none; `error` is then a sentence that says so.
  const Procedure* procedureFrom(const QString& text, QString& error) const;

  /// The address of what follows, or precedes, the item that `address` is part of: an instruction, a string
  /// or one byte. Nothing at the document's end or start.
  std::optional<std::uint64_t> addressAfter(std::uint64_t address) const;
  std::optional<std::uint64_t> addressBefore(std::uint64_t address) const;

 private:
  std::optional<std::uint64_t> addressOfLabel(const QString& text) const;
  std::uint64_t itemStart(std::uint64_t address) const;
  std::uint64_t itemEnd(std::uint64_t address) const;
  /// Behind the zero that closes it.
  std::uint64_t endOf(const StringAt& string) const;
  bool isBlockStart(std::uint64_t address) const;

  QString name_;
  OpenedFile file_;
  MappedBytes bytes_;
  std::uint64_t cursor_ = 0;
  TextByAddress names_;
  QMultiHash<QString, std::uint64_t> addressesByLabel_;
};

/// The open documents. Never empty once the host serves.
class DocumentList {
 public:
  /// Adds a document named after the last part of `path`; a number tells apart those of one name.
  void add(const QString& path, OpenedFile file);

  std::size_t size() const { return documents_.size(); }
  QStringList names() const;
  Document& current() { return *documents_[current_]; }
  /// False if no document is called `name`.
  bool setCurrent(const QString& name);

 private:
  std::vector<std::unique_ptr<Document>> documents_;
  std::size_t current_ = 0;
};
