#pragma once

#include "devhost/image/image_draft.h"

#include <LIEF/MachO.hpp>

/// Adds what a Mach-O file says.
void readMachO(ImageDraft& draft, const LIEF::MachO::Binary& macho);
