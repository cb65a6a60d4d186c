// Makes the table of the clients and the list of what their users notice from the results of a run. A row has the
// `client`, and what was seen of it with the `bare` server and through `serve`: `{checks, notices, outcome, endingMs}`.

import { readFileSync } from 'node:fs';
import { table } from './document.mjs';

function installed(packageName) {
  return JSON.parse(readFileSync(new URL(`../node_modules/${packageName}/package.json`, import.meta.url), 'utf8'));
}

function outcomeOf({ checks, outcome }) {
  const failed = checks.filter(({ passed }) => !passed);
  if (failed.length > 0) return `fails: ${failed.map(({ name }) => name).join('; ')}`;
  return outcome ?? `works (${checks.length} checks)`;
}

function endingOf({ endingMs }) {
  if (endingMs === undefined) return 'does not apply';
  return endingMs < 100 ? '< 0.1 s' : `${(endingMs / 1000).toFixed(1)} s`;
}

function tableRow({ client, bare, serve }) {
  const { name, version } = installed(client.package);
  const title = `${client.title}\n\`${name}\` ${version}`;
  return [title, client.ran, outcomeOf(bare), outcomeOf(serve), endingOf(bare), endingOf(serve)];
}

export function tableOfClients(rows) {
  const head = ['client', 'what was run', 'bare server', 'through `serve`', 'ending: bare', 'ending: `serve`'];
  return table([head, ...rows.map(tableRow)]);
}

const kWays = { both: '', bare: 'with the bare server only: ', serve: 'through `serve` only: ' };

/// In which way of running its client the thing was noticed, if in any.
function wayOf({ bare, serve }, isIt) {
  const [withBare, withServe] = [bare, serve].map(({ notices }) => notices.some(isIt));
  if (withBare && withServe) return 'both';
  if (withBare) return 'bare';
  return withServe ? 'serve' : undefined;
}

/// Who noticed it, by the way in which they were run.
function witnesses(rows, isIt) {
  const groups = Object.entries(kWays).map(([way, words]) => {
    const titles = rows.filter((row) => wayOf(row, isIt) === way).map(({ client }) => client.title);
    return titles.length === 0 ? '' : words + titles.join('; ');
  });
  return groups.filter((group) => group !== '').join('; ');
}

function valuesOf(rows, what) {
  const notices = rows.flatMap(({ bare, serve }) => [...bare.notices, ...serve.notices]);
  return [...new Set(notices.filter(({ notice }) => notice === what).map(({ value }) => value))];
}

/// Each thing that was noticed once, with those who noticed it; `words` say what it is.
export function listOfNotices(rows, words) {
  const lines = Object.entries(words).flatMap(([what, text]) => {
    const values = valuesOf(rows, what);
    if (values.length === 0) return [];
    const by = (value) => witnesses(rows, (each) => each.notice === what && each.value === value);
    if (values[0] === '') return [`- ${text}`, `  - ${by('')}`];
    return [`- ${text}`, ...values.map((value) => `  - ${by(value)}: \`${value}\``)];
  });
  return lines.join('\n');
}
