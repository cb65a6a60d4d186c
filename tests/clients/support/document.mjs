// Keeps the parts of docs/clients.md that come from runs. Such a part stands between two marks,
// `<!-- NAME: made by ./run COMMAND -->` and `<!-- end of NAME -->`; all other text is written by hand.

import { readFileSync, writeFileSync } from 'node:fs';

const kDocument = new URL('../../../docs/clients.md', import.meta.url);

export function cell(text) {
  return text.replaceAll('|', '\\|').replaceAll('\n', '<br>');
}

/// A table; `rows` are lists of cells, the first of them the heads of the columns.
export function table(rows) {
  const [head, ...body] = rows.map((row) => `| ${row.map(cell).join(' | ')} |`);
  return [head, `|${'---|'.repeat(rows[0].length)}`, ...body].join('\n');
}

/// The document with `parts`, a text by name, in their places.
function withParts(document, parts) {
  return Object.entries(parts).reduce((text, [name, part]) => {
    const place = new RegExp(`(<!-- ${name}: made by .* -->\n)[^]*(<!-- end of ${name} -->)`);
    if (!place.test(text)) throw new Error(`docs/clients.md has no part '${name}'`);
    return text.replace(place, (_, begin, end) => `${begin}\n${part}\n\n${end}`);
  }, document);
}

/// The document without the measured times, which differ from run to run.
function withoutTimes(document) {
  return document.replaceAll(/(< )?\d+\.\d s\b/g, 'T');
}

/// Writes `parts` into the document, or sees that they are there, times aside; returns whether all is well and the
/// reason if not.
export function keepDocument(parts, shallWrite) {
  const present = readFileSync(kDocument, 'utf8');
  const wanted = withParts(present, parts);
  if (shallWrite) {
    writeFileSync(kDocument, wanted);
    return [true];
  }
  if (withoutTimes(wanted) === withoutTimes(present)) return [true];
  const known = new Set(withoutTimes(present).split('\n'));
  const missing = wanted.split('\n').filter((line) => !known.has(withoutTimes(line)));
  return [false, `It should have, in this order and nothing else\n${missing.join('\n') || '(the lines it has)'}`];
}
