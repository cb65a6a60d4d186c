#include "tools/catalogue.h"

#include "tools/tool_handler.h"

#include <iterator>

using json11::Json;

namespace {

constexpr Argument text(const char* name, const char* description) {
  return {name, ArgumentType::kText, description};
}
constexpr Argument boolean(const char* name, const char* description) {
  return {name, ArgumentType::kBoolean, description};
}
constexpr Argument textMap(const char* name, const char* description) {
  return {name, ArgumentType::kTextMap, description};
}

constexpr Argument kCaseSensitive =
    boolean("case_sensitive", "A boolean indicating if the regular expression should be case sensitive.");
constexpr Argument kStringPattern = text("pattern", "A regular expression used to filter the strings' name.");

// One row a tool, in the order in which clients are shown them. Arguments stand in the order in which the
// host receives them. Descriptions are what assistants have learnt to read: their spelling stays as it is.
constexpr CatalogueEntry kCatalogue[] = {
    {.name = "list_documents",
     .selector = "documentListWithReply:",
     .description = "List of all opened documents in Orvane. A document is a representation of a file "
                    "being disassembled. This tool returns an array of string, each one being the name of "
                    "an opened document."},
    {.name = "current_document",
     .selector = "currentDocumentWithReply:",
     .description = "This tool returns the name of the current document."},
    {.name = "set_current_document",
     .selector = "setCurrentDocument:withReply:",
     .description = "This tool is used to select the document currently being queried and edited. It "
                    "takes as argument the name of the document to select.",
     .arguments = {text("document", "The name of document to set as the current one.")}},
    {.name = "list_segments",
     .selector = "segmentListWithReply:",
     .description = "List of all the segments of the current document. The result is an array of objects "
                    "which contains the name of the segment, the hexadecimal address where the segment "
                    "starts (the \"start\" property), the hexadecimal address where the segments ends "
                    "(the \"end\" property). Additionally, there are two boolean properties indicating if "
                    "the segment is writeable and / or if the segment is executable. The \"section\" "
                    "property holds an array of the sections that the segment contains. Each section is "
                    "described by its name (the \"name\" property), its starting address (the \"start\" "
                    "property) and its ending address (the \"end\" property)."},
    {.name = "list_procedures",
     .selector = "procedureListWithReply:",
     .description = "List of the name of all procedures (also known as function) along with the address "
                    "where the procedure starts (its entrypoint) in the current document. The result is "
                    "an object where the keys are the hexadecimal address of each procedure and the "
                    "associated value is the procedure's name. The list returned by this tool is usually "
                    "very large. It is more efficient to use the \"search_procedures\" tool to find a "
                    "specific procedure."},
    {.name = "list_procedure_size",
     .selector = "procedureSizeListWithReply:",
     .description = "List basic information for all procedures (also known as function). This tool will "
                    "collect a few basic information regarding each procedure. It returns a dictionnary "
                    "where the key is the entrypoint for each procedure, and the value is another "
                    "dictionnary with the name of the procedure, the number of basic blocks and the size "
                    "in bytes of the procedure."},
    {.name = "list_procedure_info",
     .selector = "procedureInfoListWithReply:",
     .description = "List all information regarding procedures of the current document. This tool returns "
                    "a dictionnary where the keys are the addresses of each procedure, and the value is a "
                    "description of the procedure one can find at this address. The procedure description "
                    "is a dictionnary which contains the name of the procedure (if any) and the "
                    "hexadecimal address of its entrypoint as the \"entrypoint\" property. It also "
                    "contains the number of basic blocks as the \"basicblock_count\" property, an array "
                    "describing each basic blocks as the \"basicblocks\" property and the total length of "
                    "the procedure in bytes as the \"length\" property. Each basic block description "
                    "contains the start and the end address of the block (properties \"from\" and \"to\", "
                    "the end address being included in the interval, i.e. this is the address of the last "
                    "instruction of the block). If the procedure has a known signature, it is available "
                    "as a C-like function signature as the \"signature\" property. All the local "
                    "variables are listed in as the \"locals\" property as an array of objects, one for "
                    "each local variable. A local variable may contain a name, and its displacement on "
                    "the stack as an integer."},
    {.name = "list_strings",
     .selector = "stringListWithReply:",
     .description = "List of all the strings defined in the current document and the address where each "
                    "string is defined. This tool returns an object where the keys are the addresses, and "
                    "the associated value is the string defined in the document. The list returned by "
                    "this tool is usually very large. It is more efficient to use the \"search_strings\" "
                    "tool to find a specific string."},
    {.name = "search_strings",
     .selector = "searchStringUsingPattern:caseSensitive:withReply:",
     .description = "Search for strings in the current document by filtering all the strings using a "
                    "regular expression. If found, the tool returns an object where the keys are the "
                    "addresses of the found strings and the associated value is the string itself.",
     .arguments = {kStringPattern, kCaseSensitive}},
    {.name = "search_procedures",
     .selector = "searchProcedureUsingPattern:caseSensitive:withReply:",
     .description = "Search for procedure in the current document by filtering all the procedure names "
                    "using a regular expression. If found, the tool returns an object where the keys are "
                    "the addresses of the found procedures and the associated value is the name of the "
                    "procedure.",
     .arguments = {text("pattern", "A regular expression used to filter the procedures' name."),
                   kCaseSensitive}},
    {.name = "procedure_info",
     .selector = "infoOfProcedure:withReply:",
     .description = "List of all the information of a given procedure in the current document. This tool "
                    "can also be used to find a specific procedure by its exact name or address. "
                    "Procedures are also called functions. The result is a dictionnary which contains the "
                    "name of the procedure (if any) and the hexadecimal address of its entrypoint as the "
                    "\"entrypoint\" property. It also contains the number of basic blocks as the "
                    "\"basicblock_count\" property, an array describing each basic blocks as the "
                    "\"basicblocks\" property and the total length of the procedure in bytes as the "
                    "\"length\" property. Each basic block description contains the start and the end "
                    "address of the block (properties \"from\" and \"to\", the end address being included "
                    "in the interval, i.e. this is the address of the last instruction of the block). If "
                    "the procedure has a known signature, it is available as a C-like function signature "
                    "as the \"signature\" property. All the local variables are listed in as the "
                    "\"locals\" property as an array of objects, one for each local variable. A local "
                    "variable may contain a name, and its displacement on the stack as an integer.",
     .arguments = {text("procedure", "The name of the procedure. Leave unset for the current procedure.")}},
    {.name = "procedure_address",
     .selector = "addressOfProcedure:withReply:",
     .description = "Find the entry point of a given procedure by its name in the current document, or by "
                    "any hexadecimal address being part of the procedure.",
     .arguments = {text("procedure",
                        "The name of the procedure, or any address being part of it as an hexadecimal "
                        "number.")}},
    {.name = "current_address",
     .selector = "currentAddressWithReply:",
     .description = "Get the current address of the cursor in the current document. The tool returns an "
                    "hexadecimal number."},
    {.name = "current_procedure",
     .selector = "currentProcedureWithReply:",
     .description = "Get the name of the procedure at the current address in the current document."},
    {.name = "goto_address",
     .selector = "gotoAddress:withReply:",
     .description = "Move the cursor at a given address in the current document, which will become the "
                    "current address.",
     .arguments = {text("address", "The address in hexadecimal, or a label name.")}},
    {.name = "procedure_assembly",
     .selector = "asmOfProcedure:withReply:",
     .description = "Disassemble and generate the assembly code for a procedure of the current document. "
                    "The tool returns a string corresponding to the assembly code of the procedure.",
     .arguments = {text("procedure",
                        "The name of the procedure for which to generate the assembly code, or its "
                        "address as an hexadecimal number. Leave unset for the current procedure.")}},
    {.name = "procedure_pseudo_code",
     .selector = "pseudoCodeOfProcedure:withReply:",
     .description = "Decompile a procedure of the current document into a C-like pseudo-code "
                    "representation. This representation helps in understanding the logic of the "
                    "procedure. Be careful as the generation of the pseudo-code by this tool may take a "
                    "very long time if the procedure is complex and contains a lot of basic-blocks. "
                    "Usually, it's better to limit the use of this tool to procedure with less than fifty "
                    "basic-blocs.",
     .arguments = {text("procedure",
                        "The name of the procedure for which to generate the pseudo-code. Leave unset "
                        "for the current procedure.")}},
    {.name = "procedure_callers",
     .selector = "callersOfProcedure:withReply:",
     .description = "All the procedures that call a given one in the current document. The tool returns a "
                    "list of names of the procedures that call the specified one.",
     .arguments = {text("procedure",
                        "The name of the procedure for which we want the list of callers. Leave unset "
                        "for the current procedure.")}},
    {.name = "procedure_callees",
     .selector = "calleesOfProcedure:withReply:",
     .description = "All the procedures called by a given one in the current document. The tool returns a "
                    "list of names of the procedures called by the specified one.",
     .arguments = {text("procedure",
                        "The name of the procedure for which we want the list method that she is "
                        "calling. Leave unset for the current procedure.")}},
    {.name = "xrefs",
     .selector = "referencesToAddress:withReply:",
     .description = "All the addresses referencing a given address in the current document. The tool "
                    "returns a list of addresses in hexadecimal notation that references the specified "
                    "one. Each of these addresses corresponds to an instruction that jumps to the "
                    "requested address.",
     .arguments = {text("address",
                        "The address for which we want the list of referencing addresses. Leave unset "
                        "for the current address.")}},
    {.name = "comment",
     .selector = "commentAtAddress:withReply:",
     .description = "Get the current comment at a given address in the current document, if any.",
     .arguments = {text("address",
                        "The address where we get the comment. Leave unset for the current address.")}},
    {.name = "inline_comment",
     .selector = "inlineCommentAtAddress:withReply:",
     .description = "Get the inline comment at a given address in the current document, if any.",
     .arguments = {text("address",
                        "The address where we get the inline comment. Leave unset for the current "
                        "address.")}},
    {.name = "set_comment",
     .selector = "setComment:atAddress:withReply:",
     .description = "Set a comment at a given address in the current document.",
     .arguments = {text("comment", "The comment to be set. Leave unset to remove the comment."),
                   text("address",
                        "The address where we set the comment. Leave unset for the current address.")}},
    {.name = "set_inline_comment",
     .selector = "setInlineComment:atAddress:withReply:",
     .description = "Set an inline comment at a given address in the current document.",
     .arguments = {text("comment", "The inline comment to be set. Leave unset to remove the comment."),
                   text("address",
                        "The address where we set the inline comment. Leave unset for the current "
                        "address.")}},
    {.name = "next_address",
     .selector = "nextAddress:withReply:",
     .description = "Address appearing after a given address in the disassembly of the current document.",
     .arguments = {text("address",
                        "The address of which we want the next address. Leave unset for the current "
                        "address.")}},
    {.name = "prev_address",
     .selector = "prevAddress:withReply:",
     .description = "Address appearing before a given address in the disassembly of the current document.",
     .arguments = {text("address",
                        "The address of which we want the previous address. Leave unset for the current "
                        "address.")}},
    {.name = "list_names",
     .selector = "nameListWithReply:",
     .description = "List all the address which have a name, also called label, in the current document. "
                    "The tool returns an object where the keys are the addresses and the associated value "
                    "is the name given to this address."},
    {.name = "search_name",
     .selector = "searchNameUsingPattern:caseSensitive:withReply:",
     .description = "Search for a label with a name matching a given pattern. The tool returns an object "
                    "where the keys are the addresses and the associated value is the name given to this "
                    "address.",
     .arguments = {kStringPattern, kCaseSensitive}},
    {.name = "address_name",
     .selector = "nameOfAddress:withReply:",
     .description = "Name associated with an address, also called label, in the current document.",
     .arguments = {text("address",
                        "The address of which we want the name (label). Leave unset for the current "
                        "address.")}},
    {.name = "set_address_name",
     .selector = "setNameOfAddress:to:withReply:",
     .description = "Set the name of an address, also called label, in the current document. It is "
                    "possible to remove a name / label by passing an empty string.",
     .arguments = {text("address",
                        "The address where we want to set the a name (label). Leave unset for the "
                        "current address."),
                   text("name", "The name to give to the address. Leave unset to remove the name.")}},
    {.name = "set_addresses_names",
     .selector = "setNamesOfAddresses:withReply:",
     .description = "Set the name, also known as label, of multiple addresses at once in the current "
                    "document. This is the prefered way to change the name of multiple addresses "
                    "efficiently.",
     .arguments = {textMap("names",
                           "An object where each key is a string representing an hexadecimal address, and "
                           "the associated value is the name to be set at this address.")}},
    {.name = "list_bookmarks",
     .selector = "bookmarkListWithReply:",
     .description = "Get a list of all the bookmarks defined in the current document. A bookmark is a "
                    "place of interest in a document. The result is a list of objects, each one "
                    "describing a single bookmark. A bookmark description consists of a optional name and "
                    "an address as an hexadecimal number."},
    {.name = "set_bookmark",
     .selector = "setBookmarkAtAddress:withName:withReply:",
     .description = "Set a bookmark at a given address in the current document. A bookmark is a place of "
                    "interest in a document. It can optionally have a name.",
     .arguments = {text("address",
                        "The address where we want to set the bookmark. Leave unset for the current "
                        "address."),
                   text("name",
                        "The optional name to give to the bookmark. Unset if no specific name is given.")}},
    {.name = "unset_bookmark",
     .selector = "unsetBookmarkAtAddress:withReply:",
     .description = "Remove a bookmark at a given address in the current document.",
     .arguments = {text("address",
                        "The address where we want to set the bookmark. Leave unset for the current "
                        "address.")}},
};

static_assert(std::size(kCatalogue) == 34);

/// JSON Schema's name of the type.
const char* schemaName(ArgumentType type) {
  switch (type) {
    case ArgumentType::kText: return "string";
    case ArgumentType::kBoolean: return "boolean";
    case ArgumentType::kTextMap: return "object";
  }
  return "";
}

Json schemaOf(const CatalogueEntry& entry) {
  Json::object properties;
  for (const Argument& argument : entry.arguments) {
    if (argument.name == nullptr) continue;
    properties[argument.name] =
        Json::object{{"description", argument.description}, {"type", schemaName(argument.type)}};
  }
  return Json::object{{"properties", properties}, {"type", "object"}};
}

}  // namespace

std::span<const CatalogueEntry> catalogue() {
  return kCatalogue;
}

void registerCatalogue(ToolRegistry& registry, IPCClient* host) {
  for (const CatalogueEntry& entry : kCatalogue) {
    const Tool tool{entry.name, entry.description, schemaOf(entry)};
    registerTool(registry, tool, makeHandler(entry, host));
  }
}
