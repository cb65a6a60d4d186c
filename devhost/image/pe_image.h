#pragma once

#include "devhost/image/image_draft.h"

#include <LIEF/PE.hpp>

/// Adds what a PE file says.
void readPe(ImageDraft& draft, const LIEF::PE::Binary& pe);
