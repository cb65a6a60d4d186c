// One call of each tool, in an order in which each finds what an earlier one did. DOCUMENT stands for the document's
// name and MAIN for the address of `main` in it. A `failure` is what the tool must fail with.

const kAddress = /^0x[0-9a-f]+$/;
const kObjectByAddress = /^\{"0x[0-9a-f]+": /;
const kNamesList = /^\[.*\]$/;
const kSentence = /^[A-Z"].*\.$/;

export const kEveryTool = [
  { tool: 'list_documents', answer: /^\["DOCUMENT"\]$/ },
  { tool: 'current_document', answer: /^DOCUMENT$/ },
  { tool: 'set_current_document', arguments: { document: 'DOCUMENT' }, answer: kSentence },
  { tool: 'list_segments', answer: /^\[\{.*"start": "0x[0-9a-f]+"/ },
  { tool: 'list_procedures', answer: kObjectByAddress },
  { tool: 'list_procedure_size', answer: /^\{"0x[0-9a-f]+": \{"basicblock_count": \d+, "name": / },
  { tool: 'list_procedure_info', answer: /^\{"0x[0-9a-f]+": \{"basicblock_count": \d+, "basicblocks": \[/ },
  { tool: 'list_strings', answer: kObjectByAddress },
  { tool: 'search_strings', arguments: { pattern: '.', case_sensitive: false }, answer: kObjectByAddress },
  { tool: 'search_procedures', arguments: { pattern: '^main$', case_sensitive: true }, answer: /^\{"MAIN": "main"\}$/ },
  { tool: 'procedure_info', arguments: { procedure: 'main' }, answer: /"entrypoint": "MAIN"/ },
  { tool: 'procedure_address', arguments: { procedure: 'main' }, answer: /^MAIN$/ },
  { tool: 'goto_address', arguments: { address: 'main' }, answer: kSentence },
  { tool: 'current_address', answer: /^MAIN$/ },
  { tool: 'current_procedure', answer: /^main$/ },
  { tool: 'procedure_assembly', arguments: { procedure: 'main' }, answer: /^; procedure main\nmain:\n/ },
  { tool: 'procedure_pseudo_code', arguments: { procedure: 'main' }, failure: /decompiler/ },
  { tool: 'procedure_callers', arguments: { procedure: 'main' }, answer: kNamesList },
  { tool: 'procedure_callees', arguments: { procedure: 'main' }, answer: kNamesList },
  { tool: 'xrefs', arguments: { address: 'MAIN' }, answer: kNamesList },
  { tool: 'set_comment', arguments: { address: 'MAIN', comment: 'Grüße "€" 日本' }, answer: kSentence },
  { tool: 'comment', arguments: { address: 'MAIN' }, answer: /^Grüße "€" 日本$/ },
  { tool: 'set_inline_comment', arguments: { address: 'MAIN', comment: 'inline' }, answer: kSentence },
  { tool: 'inline_comment', arguments: { address: 'MAIN' }, answer: /^inline$/ },
  { tool: 'next_address', arguments: { address: 'MAIN' }, answer: kAddress },
  { tool: 'prev_address', arguments: { address: 'MAIN' }, answer: kAddress },
  { tool: 'list_names', answer: kObjectByAddress },
  { tool: 'search_name', arguments: { pattern: '^main$', case_sensitive: true }, answer: /^\{"MAIN": "main"\}$/ },
  { tool: 'set_address_name', arguments: { address: 'MAIN', name: 'renamed' }, answer: kSentence },
  { tool: 'address_name', arguments: { address: 'MAIN' }, answer: /^renamed$/ },
  { tool: 'set_addresses_names', arguments: { names: { MAIN: 'main' } }, answer: kSentence },
  { tool: 'set_bookmark', arguments: { address: 'MAIN', name: 'here' }, answer: kSentence },
  { tool: 'list_bookmarks', answer: /^\[\{"address": "MAIN", "name": "here"\}\]$/ },
  { tool: 'unset_bookmark', arguments: { address: 'MAIN' }, answer: kSentence },
];
