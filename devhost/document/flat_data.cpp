#include "devhost/document/flat_data.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace {

/// Writes values, or reads them into the same places: one list of fields serves both ways.
class Archive {
 public:
  Archive(QByteArray* data, QIODevice::OpenMode mode)
      : stream_(data, mode), writing_(mode == QIODevice::WriteOnly) {}

  bool isIntact() const { return stream_.status() == QDataStream::Ok; }
  bool isAtEnd() const { return stream_.atEnd(); }

  template <typename T>
  requires std::is_trivially_copyable_v<T>
  void field(T& value) { raw(reinterpret_cast<char*>(&value), sizeof value); }

  void field(std::string& text) { resizable(text); }

  template <typename T>
  void field(std::vector<T>& list) {
    if constexpr (std::is_trivially_copyable_v<T>) {
      resizable(list);
    } else {
      listOfRecords(list);
    }
  }

  void field(Section& section) { fields(section.name, section.start, section.end); }
  void field(Symbol& symbol) {
    fields(symbol.name, symbol.address, symbol.size, symbol.function, symbol.thumb);
  }
  void field(ImportSlot& slot) { fields(slot.address, slot.name); }
  void field(NameAt& name) { fields(name.address, name.name); }
  void field(Segment& segment) {
    fields(segment.name, segment.start, segment.end, segment.fileOffset, segment.fileSize, segment.readable,
           segment.writable, segment.executable, segment.sections);
  }
  void field(BinaryImage& image) {
    fields(image.architecture, image.positionIndependent, image.entryPoint, image.entryIsThumb,
           image.globalOffsetTable, image.segments, image.code, image.data, image.stubs, image.symbols,
           image.importSlots, image.pointers, image.codeAddresses, image.codeMarks);
  }
  void field(Analysis& analysis) {
    fields(analysis.instructions, analysis.blocks, analysis.procedures, analysis.references,
           analysis.callsByCaller, analysis.callsByCallee, analysis.locals, analysis.strings, analysis.names,
           analysis.aliases, analysis.signatures);
  }

 private:
  template <typename... T>
  void fields(T&... values) {
    (field(values), ...);
  }

  void raw(char* bytes, std::size_t size) {
    // A stream takes at most an int's worth of bytes at a time.
    constexpr std::size_t kPiece = std::size_t{1} << 24;
    for (std::size_t done = 0; done < size && isIntact(); done += kPiece) {
      const int piece = static_cast<int>(std::min(kPiece, size - done));
      // Qt 6.4 counts in int, later releases in qint64.
      const qint64 moved =
          writing_ ? stream_.writeRawData(bytes + done, piece) : stream_.readRawData(bytes + done, piece);
      if (moved != piece) stream_.setStatus(QDataStream::ReadPastEnd);
    }
  }

  /// The count of elements of at least `elementSize` bytes each; 0 if so many cannot follow.
  quint64 count(std::size_t size, std::size_t elementSize) {
    quint64 result = size;
    field(result);
    if (writing_ || !isIntact()) return isIntact() ? result : 0;
    if (result <= static_cast<quint64>(stream_.device()->bytesAvailable()) / elementSize) return result;
    stream_.setStatus(QDataStream::ReadCorruptData);
    return 0;
  }

  template <typename Container>
  void resizable(Container& container) {
    const quint64 size = count(container.size(), sizeof(container[0]));
    if (!writing_) container.resize(size);
    raw(reinterpret_cast<char*>(container.data()), size * sizeof(container[0]));
  }

  template <typename T>
  void listOfRecords(std::vector<T>& list) {
    const quint64 size = count(list.size(), 1);
    if (!writing_) list.resize(size);
    for (T& record : list) {
      if (!isIntact()) return;
      field(record);
    }
  }

  QDataStream stream_;
  bool writing_;
};

template <typename T>
bool isWithin(std::uint64_t first, std::uint64_t count, const std::vector<T>& list) {
  return first <= list.size() && count <= list.size() - first;
}

bool isSound(const BinaryImage& image, std::uint64_t fileSize) {
  const auto inFile = [fileSize](const Segment& segment) {
    return segment.start < segment.end && segment.fileSize <= segment.end - segment.start &&
           segment.fileOffset <= fileSize && segment.fileSize <= fileSize - segment.fileOffset;
  };
  return !image.segments.empty() && std::ranges::all_of(image.segments, inFile);
}

bool isSound(const Analysis& analysis, const BinaryImage& image) {
  const auto procedures = analysis.procedures.size();
  const auto soundInstruction = [&](const Instruction& instruction) {
    return instruction.procedure == kNoProcedure || instruction.procedure < procedures;
  };
  const auto soundBlock = [&](const BasicBlock& block) {
    return block.first <= block.last && block.last < analysis.instructions.size();
  };
  const auto soundProcedure = [&](const Procedure& procedure) {
    return isWithin(procedure.firstBlock, procedure.blockCount, analysis.blocks) &&
           isWithin(procedure.firstLocal, procedure.localCount, analysis.locals);
  };
  const auto soundCall = [&](const Call& call) { return call.caller < procedures; };
  const auto soundString = [&](const StringAt& string) {
    const Segment* segment = image.segmentAt(string.address);
    return segment != nullptr && string.address - segment->start <= segment->fileSize &&
           string.length <= segment->fileSize - (string.address - segment->start);
  };
  return std::ranges::all_of(analysis.instructions, soundInstruction) &&
         std::ranges::all_of(analysis.blocks, soundBlock) &&
         std::ranges::all_of(analysis.procedures, soundProcedure) &&
         std::ranges::all_of(analysis.callsByCaller, soundCall) &&
         std::ranges::all_of(analysis.callsByCallee, soundCall) &&
         std::ranges::all_of(analysis.strings, soundString);
}

}  // namespace

QByteArray toFlatData(const BinaryImage& image, const Analysis& analysis) {
  QByteArray data;
  Archive archive(&data, QIODevice::WriteOnly);
  // The archive's fields are places to write to as well as to read from; writing leaves them as they are.
  archive.field(const_cast<BinaryImage&>(image));
  archive.field(const_cast<Analysis&>(analysis));
  return data;
}

bool fromFlatData(const QByteArray& data, std::uint64_t fileSize, BinaryImage& image, Analysis& analysis) {
  QByteArray copy = data;
  Archive archive(&copy, QIODevice::ReadOnly);
  archive.field(image);
  archive.field(analysis);
  return archive.isIntact() && archive.isAtEnd() && isSound(image, fileSize) && isSound(analysis, image);
}
