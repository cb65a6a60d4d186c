// Makes the table of the clients that orvane-mcp knows, and what to know of some, from the results of a run.

import { readFileSync } from 'node:fs';
import { table } from '../clients/support/document.mjs';

const kClientsFile = new URL('../../companion/clients/clients.json', import.meta.url);
const kKnownClients = JSON.parse(readFileSync(kClientsFile, 'utf8'));

function installedVersion(packageName) {
  const { version } = JSON.parse(readFileSync(new URL(`node_modules/${packageName}/package.json`, import.meta.url)));
  return version.replace('-linux-x64', '');
}

function turnOf({ row, checks }, script) {
  if (checks.failed.some((check) => check.startsWith('makes a turn'))) return 'fails';
  const exceptions = Object.keys(row.turn.exceptions ?? {}).length;
  return `${script.length - exceptions} of ${script.length} right`;
}

function cellsOf({ id, name }, result, script) {
  const client = [name, `\`${id}\``];
  if (result === undefined) return [...client, 'not run', '', '', ''];
  const { row, checks } = result;
  const shown = checks.failed.some((check) => check.startsWith('shows')) ? 'fails' : row.list.word;
  return [...client, installedVersion(row.package), shown, turnOf(result, script), row.turn.allowed];
}

/// `results` are `{row, checks}` of each assistant that was run.
export function tableOfKnownClients(results, script) {
  const head = ['client', '`config` name', 'version', 'its own list', 'five tool calls', 'allowed with'];
  const rows = kKnownClients.map((client) => {
    const result = results.find(({ row }) => row.id === client.id);
    return cellsOf(client, result, script);
  });
  return table([head, ...rows]);
}

/// What each of the known clients needs beside its entry, and what was seen of the assistants of `rows`.
export function listOfRemarks(rows) {
  const lines = kKnownClients.flatMap(({ id, name, needs }) => {
    const remark = rows.find((row) => row.id === id)?.remark;
    const needed = needs === undefined ? [] : [`- ${needs}`];
    return remark === undefined ? needed : [...needed, `- ${name} ${remark}`];
  });
  return lines.join('\n');
}
