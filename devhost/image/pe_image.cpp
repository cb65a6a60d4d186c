#include "devhost/image/pe_image.h"

#include <algorithm>
#include <string_view>

namespace {

void addPeSections(ImageDraft& draft, const LIEF::PE::Binary& pe, std::uint64_t base) {
  using LIEF::PE::SECTION_CHARACTERISTICS;
  for (const LIEF::PE::Section& section : pe.sections()) {
    const std::uint64_t start = addSaturated(base, section.virtual_address());
    const std::uint64_t size = std::max(section.virtual_size(), section.sizeof_raw_data());
    const std::string name = cleanName(section.name());
    draft.addSegment(
        {.name = name,
         .start = start,
         .end = addSaturated(start, size),
         .fileOffset = section.pointerto_raw_data(),
         .fileSize = section.sizeof_raw_data(),
         .readable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_READ),
         .writable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_WRITE),
         .executable = section.has_characteristic(SECTION_CHARACTERISTICS::IMAGE_SCN_MEM_EXECUTE),
         .sections = {{name, start, addSaturated(start, size)}}});
  }
  draft.settleSegments();
}

}  // namespace

void readPe(ImageDraft& draft, const LIEF::PE::Binary& pe) {
  const std::uint64_t base = pe.optional_header().imagebase();
  addPeSections(draft, pe, base);
  if (pe.optional_header().addressof_entrypoint() != 0) {
    draft.image.entryPoint = addSaturated(base, pe.optional_header().addressof_entrypoint());
  }
  for (const LIEF::PE::Import& import : pe.imports()) {
    for (const LIEF::PE::ImportEntry& entry : import.entries()) {
      const std::string name =
          entry.is_ordinal() ? import.name() + "#" + std::to_string(entry.ordinal()) : entry.name();
      draft.image.importSlots.push_back({addSaturated(base, entry.iat_address()), cleanName(name)});
    }
  }
  if (pe.has_exports()) {
    for (const LIEF::PE::ExportEntry& entry : pe.get_export().entries()) {
      const std::uint64_t address = addSaturated(base, entry.address());
      if (entry.is_extern() || entry.address() == 0) continue;
      const Segment* segment = draft.image.segmentAt(address);
      draft.addSymbol(entry.name(), address, 0, segment != nullptr && segment->executable);
    }
  }
  if (pe.has_tls()) {
    for (const std::uint64_t callback : pe.tls().callbacks()) draft.image.codePointers.push_back(callback);
  }
}
