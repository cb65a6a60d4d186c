#include "companion/doctor/program_file.h"

#include <elf.h>
#include <link.h>

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

namespace {

using Header = ElfW(Ehdr);
using Segment = ElfW(Phdr);

/// Longest path of a loader that is believed, in bytes.
constexpr std::size_t kMaxLoaderPath = 4096;

constexpr char kScriptStart[] = "#!";

/// The program that runs here: what is like it is for this machine.
constexpr char kOwnFile[] = "/proc/self/exe";

template <typename Record>
std::optional<Record> readRecord(std::ifstream& file, std::size_t offset) {
  Record record{};
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  if (!file.read(reinterpret_cast<char*>(&record), sizeof record)) return std::nullopt;
  return record;
}

bool isElf(const Header& header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
}

bool isForThisMachine(const Header& header) {
  std::ifstream ownFile(kOwnFile, std::ios::binary);
  const std::optional<Header> own = readRecord<Header>(ownFile, 0);
  return own && header.e_ident[EI_CLASS] == own->e_ident[EI_CLASS] &&
         header.e_ident[EI_DATA] == own->e_ident[EI_DATA] && header.e_machine == own->e_machine;
}

ProgramFile unknown(const std::string& reason) {
  return {.kind = ProgramKind::kUnknown, .reason = reason};
}

/// What a program says of its loader.
ProgramFile readLoader(std::ifstream& file, const Segment& segment) {
  std::string loader(segment.p_filesz, '\0');
  file.clear();
  file.seekg(static_cast<std::streamoff>(segment.p_offset));
  if (loader.size() > kMaxLoaderPath || !file.read(loader.data(), std::ssize(loader)))
    return unknown("is damaged");
  loader.resize(std::strlen(loader.c_str()));
  return {.kind = ProgramKind::kDynamic, .loader = loader};
}

ProgramFile readSegments(std::ifstream& file, const Header& header) {
  for (std::size_t number = 0; number < header.e_phnum; ++number) {
    const std::size_t offset = header.e_phoff + number * header.e_phentsize;
    const std::optional<Segment> segment = readRecord<Segment>(file, offset);
    if (!segment) return unknown("is damaged");
    if (segment->p_type == PT_INTERP) return readLoader(file, *segment);
  }
  return {.kind = ProgramKind::kStatic};
}

}  // namespace

ProgramFile inspectProgram(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return unknown("cannot be read");
  const auto start = readRecord<std::array<char, sizeof kScriptStart - 1>>(file, 0);
  if (start && std::memcmp(start->data(), kScriptStart, start->size()) == 0)
    return {.kind = ProgramKind::kScript};
  const std::optional<Header> header = readRecord<Header>(file, 0);
  if (!header || !isElf(*header)) return unknown("is no program");
  if (!isForThisMachine(*header)) return unknown("is not for this machine");
  if (header->e_type != ET_EXEC && header->e_type != ET_DYN) return unknown("is no program");
  return readSegments(file, *header);
}
