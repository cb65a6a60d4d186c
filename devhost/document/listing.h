#pragma once

#include "devhost/document/document.h"

#include <QString>

/// The assembly text of `procedure`, one instruction a line, in the order of addresses:
///
///     ; procedure main
///     main:
///     ; a comment
///     0x401126    push      rbp    ; an inline comment
///
/// Operands that are known addresses are shown by their label. Ends with a line feed.
QString assemblyOf(const Document& document, const Procedure& procedure);
