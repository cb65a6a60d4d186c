#include "devhost/image/read_image.h"

#include "devhost/image/elf_image.h"
#include "devhost/image/image_draft.h"
#include "devhost/image/macho_image.h"
#include "devhost/image/pe_image.h"

#include <llvm/ADT/StringRef.h>
#include <llvm/BinaryFormat/Magic.h>

#include <utility>

namespace {

using Reader = bool (*)(ImageDraft& draft, std::span<const std::uint8_t> file, std::string& error);

Reader readerOf(const std::vector<std::uint8_t>& file) {
  using Magic = llvm::file_magic;
  switch (llvm::identify_magic(llvm::StringRef(reinterpret_cast<const char*>(file.data()), file.size()))) {
    case Magic::elf:
    case Magic::elf_relocatable:
    case Magic::elf_executable:
    case Magic::elf_shared_object:
    case Magic::elf_core: return readElf;
    case Magic::pecoff_executable: return readPe;
    case Magic::macho_object:
    case Magic::macho_executable:
    case Magic::macho_fixed_virtual_memory_shared_lib:
    case Magic::macho_preload_executable:
    case Magic::macho_dynamically_linked_shared_lib:
    case Magic::macho_dynamic_linker:
    case Magic::macho_bundle:
    case Magic::macho_kext_bundle:
    case Magic::macho_universal_binary: return readMachO;
    default: return nullptr;
  }
}

}  // namespace

std::optional<BinaryImage> readImage(const std::vector<std::uint8_t>& file, std::string& error) {
  const Reader read = readerOf(file);
  if (read == nullptr) {
    error = kUnreadable;
    return std::nullopt;
  }
  ImageDraft draft(file.size());
  if (!read(draft, file, error)) return std::nullopt;
  draft.settle();
  if (draft.image.segments.empty()) {
    error = "has nothing that is loaded into memory";
    return std::nullopt;
  }
  if (draft.mapsTooMuch()) {
    error = "maps its own bytes more often than an honest file does";
    return std::nullopt;
  }
  return std::move(draft.image);
}
