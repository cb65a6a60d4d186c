// Makes docs/clients.md from the results of a run and the words in clients.json and clients_template.md.

import { readFileSync } from 'node:fs';

function installed(packageName) {
  return JSON.parse(readFileSync(new URL(`../node_modules/${packageName}/package.json`, import.meta.url), 'utf8'));
}

function cell(text) {
  return text.replaceAll('|', '\\|');
}

function outcomeOf({ checks }) {
  const failed = checks.filter(({ passed }) => !passed);
  if (failed.length === 0) return `works (${checks.length} checks)`;
  return `fails: ${failed.map(({ name }) => name).join('; ')}`;
}

function endingOf({ endingMs }) {
  if (endingMs === undefined) return 'does not apply';
  return endingMs < 100 ? '< 0.1 s' : `${(endingMs / 1000).toFixed(1)} s`;
}

function matrixRow(row) {
  const { name, version } = installed(row.client.package);
  const client = `[${row.client.title}](#${row.client.id})<br>\`${name}\``;
  return `| ${[client, version, row.client.ran, outcomeOf(row), endingOf(row)].map(cell).join(' | ')} |`;
}

function noticesOf(row, words) {
  const lines = row.notices.map(({ notice, value }) => `- ${words[notice].replace('VALUE', () => value)}`);
  const unique = [...new Set(lines)];
  if (unique.length === 0) unique.push('- Nothing.');
  return [`<a id="${row.client.id}"></a>`, `### ${row.client.title}`, '', ...unique].join('\n');
}

/// The whole document; `rows` are `{client, checks, notices, endingMs}`, `words` what to say of each notice.
export function documentOf(rows, words) {
  const template = readFileSync(new URL('../clients_template.md', import.meta.url), 'utf8');
  return template
    .replace('MATRIX', () => rows.map(matrixRow).join('\n'))
    .replace('NOTICES', () => rows.map((row) => noticesOf(row, words)).join('\n\n'));
}

/// The document without the measured times, which differ from run to run.
export function withoutTimes(document) {
  return document.replaceAll(/(< )?\d+\.\d s \|/g, 'T |');
}
