#pragma once

// Diagnostics whose formats carry privacy qualifiers, as unified logging writes them: "%{public}s".

#include <string>

/// `format` without every "{...}" that directly follows a "%". A "{" without a "}" behind it stays.
std::string withoutPrivacyQualifiers(std::string format);

/// Prints `format` on standard error, without its privacy qualifiers and with no line feed added. Its one
/// conversion is a %s, which receives the text of `errorNumber`.
void printDiagnostic(const char* format, int errorNumber);
