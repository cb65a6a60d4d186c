// Files that lie about themselves: refused with one line, or opened and then as harmless as any other.

#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::vector<QString> kSampleNames = {
    "sample_x86_64.elf",      "sample_x86.elf",
    "sample_arm64.elf",       "sample_arm64_stripped.elf",
    "sample_arm.elf",         "sample_thumb.elf",
    "sample_x86_64.exe",      "sample_x86_64.dylib",
    "sample_arm64.dylib",     "sample_pdata.exe",
    "sample_arm64.exe",       "sample_x86.exe",
    "sample_universal.dylib", "sample_chained_fixups.dylib",
    "cxx_stripped",
};

/// One is a program that the build has compiled.
QString samplePath(const QString& name) {
  return name == "cxx_stripped" ? QStringLiteral(ORVANE_TEST_PROGRAMS "/") + name : testDataPath(name);
}

/// How many mutated files the mutation test opens. ORVANE_DEVHOST_MUTATIONS overrides it: 10000 is what a
/// build with the address sanitizer is to be given before a release.
unsigned mutationCount() {
  const char* const wanted = std::getenv("ORVANE_DEVHOST_MUTATIONS");
  return wanted == nullptr ? 300U : static_cast<unsigned>(std::strtoul(wanted, nullptr, 10));
}

/// Why a file may be refused. A crash of the analysis is not among the reasons: that code is our own.
const std::set<QString> kReasons = {
    "is no ELF, PE or Mach-O file that can be read",
    "is for a processor other than x86-64, x86, AArch64 and 32-bit Arm",
    "has nothing that is loaded into memory",
    "maps its own bytes more often than an honest file does",
    "needs more memory than is given to one file",
    "makes the parser crash",
    "was not analysed within 60 seconds of processor time",
};

enum class Outcome { kOpened, kRefused };

/// Asks everything that reads, about every procedure.
void askEverything(OpenedFile file) {
  DocumentList documents;
  documents.add("hostile", std::move(file));
  const auto ask = [&](const char* selector, const QJsonArray& args = {}) {
    const QJsonObject request{{"request", selector}, {"args", args}};
    return replyTo(documents, QJsonDocument(request).toJson(QJsonDocument::Compact));
  };
  for (const char* selector :
       {"segmentListWithReply:", "procedureSizeListWithReply:", "procedureInfoListWithReply:",
        "stringListWithReply:", "nameListWithReply:", "currentAddressWithReply:"}) {
    EXPECT_EQ(ask(selector)["success"], true) << selector;
  }
  const QJsonObject procedures = ask("procedureListWithReply:")["result"].toObject();
  for (const QString& entry : procedures.keys()) {
    for (const char* selector : {"asmOfProcedure:withReply:", "callersOfProcedure:withReply:",
                                 "calleesOfProcedure:withReply:", "referencesToAddress:withReply:"}) {
      EXPECT_EQ(ask(selector, {entry})["success"], true) << selector << qPrintable(entry);
    }
    const QJsonObject next = ask("nextAddress:withReply:", {entry});
    EXPECT_NE(next["result"].toString() + next["error"].toString(), "");
  }
}

/// Opens `path` and expects one of the two outcomes that are allowed.
Outcome openHostile(const QString& path) {
  QString error;
  std::optional<OpenedFile> file = openFile(path, error);
  if (file) {
    askEverything(std::move(*file));
    return Outcome::kOpened;
  }
  EXPECT_TRUE(error.startsWith(path + ": ")) << qPrintable(error);
  EXPECT_TRUE(kReasons.contains(error.sliced(path.size() + 2))) << qPrintable(error);
  return Outcome::kRefused;
}

template <typename T>
void patch(QByteArray& bytes, qsizetype offset, T value) {
  qToLittleEndian(value, bytes.data() + offset);
}

// Offsets in a 64-bit ELF file.
constexpr qsizetype kSectionHeadersOffset = 0x28;
constexpr qsizetype kSegmentCount = 0x38;
constexpr qsizetype kSectionCount = 0x3c;
constexpr qsizetype kSegments = 0x40;
constexpr qsizetype kSegmentHeaderSize = 0x38;
constexpr qsizetype kSegmentFileOffset = 0x08;
constexpr qsizetype kSegmentAddress = 0x10;
constexpr qsizetype kSegmentFileSize = 0x20;
constexpr qsizetype kSegmentMemorySize = 0x28;

class LyingElf : public testing::Test {
 protected:
  QByteArray bytes_ = readFile(testDataPath("sample_x86_64.elf"));

  /// Offset of the `index`th segment's header that is loaded.
  qsizetype loadedSegment(int index) const {
    for (qsizetype header = kSegments;; header += kSegmentHeaderSize) {
      if (qFromLittleEndian<std::uint32_t>(bytes_.constData() + header) == 1 && index-- == 0) return header;
    }
  }

  std::string segments() {
    OpenedDocuments documents;
    documents.open(folder_.write("lying", bytes_));
    std::string text;
    for (const auto& segment : documents.ask("segmentListWithReply:").toArray()) {
      const QJsonObject object = segment.toObject();
      text += object["start"].toString().toStdString() + "-" + object["end"].toString().toStdString() + " ";
    }
    return text;
  }

  TestFolder folder_;
};

TEST_F(LyingElf, KeepsTheSegmentsInOrderWhenNothingIsChanged) {
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x13d0 0x23d0-0x24b8 0x34b8-0x34e0 ");
}

TEST_F(LyingElf, MayClaimMoreBytesThanItHas) {
  patch<std::uint64_t>(bytes_, loadedSegment(1) + kSegmentFileSize, 0x7fffffffffffffff);
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x13d0 0x23d0-0x24b8 0x34b8-0x34e0 ");
  EXPECT_EQ(openHostile(folder_.write("lying", bytes_)), Outcome::kOpened);
}

TEST_F(LyingElf, MayPlaceASegmentBeyondItsEnd) {
  patch<std::uint64_t>(bytes_, loadedSegment(1) + kSegmentFileOffset, 0xffffffffffff0000);
  OpenedDocuments documents;
  documents.open(folder_.write("lying", bytes_));
  EXPECT_EQ(documents.ask("procedureListWithReply:").toObject(), QJsonObject());
}

TEST_F(LyingElf, MayClaimASegmentUpToTheEndOfTheAddressSpace) {
  patch<std::uint64_t>(bytes_, loadedSegment(3) + kSegmentMemorySize, 0xffffffffffffffff);
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x13d0 0x23d0-0x24b8 0x34b8-0xffffffffffffffff ");
}

TEST_F(LyingElf, LosesSegmentsThatOverlapEarlierOnes) {
  patch<std::uint64_t>(bytes_, loadedSegment(1) + kSegmentMemorySize, 0x2000);
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x3310 0x34b8-0x34e0 ");
}

TEST_F(LyingElf, MayClaimCountsThatDoNotFit) {
  patch<std::uint16_t>(bytes_, kSectionCount, 0xffff);
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x13d0 0x23d0-0x24b8 0x34b8-0x34e0 ");
  patch<std::uint64_t>(bytes_, kSectionHeadersOffset, 0xffffffffffffff00);
  EXPECT_EQ(segments(), "0x0-0x30b 0x1310-0x13d0 0x23d0-0x24b8 0x34b8-0x34e0 ");
  patch<std::uint16_t>(bytes_, kSegmentCount, 0xffff);
  openHostile(folder_.write("lying", bytes_));
}

TEST_F(LyingElf, IsReadThroughItsSegmentsWhenItHasNoSections) {
  patch<std::uint64_t>(bytes_, kSectionHeadersOffset, 0);
  patch<std::uint16_t>(bytes_, kSectionCount, 0);
  OpenedDocuments documents;
  documents.open(folder_.write("lying", bytes_));
  EXPECT_EQ(documents.ask("procedureListWithReply:").toObject()["0x1350"], "begin");
  EXPECT_EQ(documents.ask("stringListWithReply:").toObject()["0x2f8"], "text of the sample");
}

TEST_F(LyingElf, IsRefusedWhenItMapsItsBytesOverAndOver) {
  // Every header asks for the whole file at an address of its own.
  constexpr int kCopies = 40;
  bytes_.resize(kSegments + kCopies * kSegmentHeaderSize);
  for (int i = 0; i < kCopies; ++i) {
    const qsizetype header = kSegments + i * kSegmentHeaderSize;
    patch<std::uint32_t>(bytes_, header, 1);
    patch<std::uint32_t>(bytes_, header + 4, 5);
    patch<std::uint64_t>(bytes_, header + kSegmentFileOffset, 0);
    patch<std::uint64_t>(bytes_, header + kSegmentAddress, 0x100000U * static_cast<std::uint64_t>(i + 1));
    patch<std::uint64_t>(bytes_, header + kSegmentFileSize, static_cast<std::uint64_t>(bytes_.size()));
    patch<std::uint64_t>(bytes_, header + kSegmentMemorySize, static_cast<std::uint64_t>(bytes_.size()));
  }
  patch<std::uint16_t>(bytes_, kSegmentCount, kCopies);
  patch<std::uint16_t>(bytes_, kSectionCount, 0);
  patch<std::uint64_t>(bytes_, kSectionHeadersOffset, 0);
  const QString path = folder_.write("lying", bytes_);
  QString error;
  EXPECT_FALSE(openFile(path, error));
  EXPECT_EQ(error, path + ": maps its own bytes more often than an honest file does");
}

TEST(ForeignProcessor, IsRefusedByName) {
  const TestFolder folder;
  QByteArray bytes = readFile(testDataPath("sample_x86_64.elf"));
  patch<std::uint16_t>(bytes, 0x12, 243);  // RISC-V
  const QString path = folder.write("foreign", bytes);
  QString error;
  EXPECT_FALSE(openFile(path, error));
  EXPECT_EQ(error, path + ": is for a processor other than x86-64, x86, AArch64 and 32-bit Arm");
}

TEST(MachOFile, MayHaveTooShortACommandForItsChainedFixups) {
  constexpr std::uint32_t kSize = 112;
  constexpr std::uint32_t kWords[] = {
      0xfeedfacf, 0x01000007, 3,          8,      2, kSize - 32, 0, 0,  // header
      0x19,       72,         0x45545f5f, 0x5458, 0, 0,          0, 0, kSize,
      0,          0,          0,          kSize,  0, 5,          5, 0, 0,  // segment
      0x80000034, 8};                                                      // the command
  static_assert(sizeof kWords == kSize);
  QByteArray bytes(kSize, '\0');
  qsizetype end = 0;
  for (const std::uint32_t word : kWords) {
    patch(bytes, end, word);
    end += qsizetype{sizeof word};
  }
  const TestFolder folder;
  QString error;
  openFile(folder.write("short", bytes), error);
  EXPECT_FALSE(error.contains("crash")) << qPrintable(error);  // LLVM refuses it from version 16 on
}

TEST(TruncatedFile, IsRefusedOrOpened) {
  const TestFolder folder;
  std::set<Outcome> outcomes;
  for (const QString& name : kSampleNames) {
    const QByteArray bytes = readFile(samplePath(name));
    for (qsizetype size = 0; size < bytes.size(); size += 1 + size / 8) {
      SCOPED_TRACE(qPrintable(name) + std::string(" cut to ") + std::to_string(size));
      outcomes.insert(openHostile(folder.write("cut", bytes.first(size))));
    }
  }
  EXPECT_EQ(outcomes, (std::set{Outcome::kOpened, Outcome::kRefused}));
}

QByteArray mutated(QByteArray bytes, std::mt19937& random) {
  const auto below = [&](std::size_t limit) { return static_cast<qsizetype>(random() % limit); };
  const std::size_t changes = 1 + random() % 24;
  for (std::size_t i = 0; i < changes; ++i) {
    // Half of the changes hit the headers, where a byte does most.
    const std::size_t reach = random() % 2 == 0 ? 0x400 : static_cast<std::size_t>(bytes.size());
    const qsizetype at = below(std::min<std::size_t>(reach, static_cast<std::size_t>(bytes.size())));
    const char values[] = {'\x00', '\x01', '\x7f', '\x80', '\xff', static_cast<char>(random())};
    bytes[at] = values[random() % std::size(values)];
  }
  if (random() % 8 == 0) bytes.truncate(below(static_cast<std::size_t>(bytes.size())));
  return bytes;
}

TEST(MutatedFile, IsRefusedOrOpened) {
  const TestFolder folder;
  std::set<Outcome> outcomes;
  for (unsigned seed = 0; seed < mutationCount(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const QByteArray sample = readFile(samplePath(kSampleNames[random() % kSampleNames.size()]));
    outcomes.insert(openHostile(folder.write("mutated", mutated(sample, random))));
  }
  EXPECT_EQ(outcomes, (std::set{Outcome::kOpened, Outcome::kRefused}));
}

}  // namespace
