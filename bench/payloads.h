#pragma once

#include <string>
#include <vector>

/// A text of the kind that the server meets, made by rule, the same in every run.
struct Payload {
  const char* name;         ///< as it stands in tables and file names
  const char* description;  ///< what it is like, in a few words
  std::string json;         ///< compact JSON
};

/// The texts that the JSON benchmarks read and print.
std::vector<Payload> jsonPayloads();

/// A small "tools/call" line, about 150 bytes.
std::string toolCallLine();
/// An object of `members` like "0x401000": "sub_401000", as list_procedures answers; 30 bytes each.
std::string procedureNames(int members);
/// An array of `procedures` descriptions as procedure_info answers; about 400 bytes each.
std::string procedureDescriptions(int procedures);
/// An assembly listing of `lines` as the one string of an array; about 45 bytes a line.
std::string assemblyListing(int lines);
/// An array of one string: the JSON text of so many procedure descriptions; about 460 bytes each.
std::string jsonWithinAString(int procedures);
/// An array of 64-bit addresses and doubles by turns; about 19 bytes each.
std::string numbers(int count);
