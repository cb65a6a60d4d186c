#pragma once

#include "devhost/image/image_draft.h"

#include <LIEF/ELF.hpp>

/// Adds what an ELF file says; `bytes` reads from the draft's own image.
void readElf(ImageDraft& draft, const LIEF::ELF::Binary& elf, const MappedBytes& bytes);
