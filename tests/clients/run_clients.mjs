// Runs MCP clients that people use against the built server, beside the development host and a scripted one. Each runs
// twice at the same time: with the bare server, and through `orvane-mcp serve`.
//
//     node run_clients.mjs SERVER COMPANION DEVHOST FILE [--only ID] [--write-document] [--screenshot PATH]
//
// FILE is an executable with symbols and a `main`. Prints one line a check; exit status 1 if one failed, 2 for usage.

import { fork } from 'node:child_process';
import { once } from 'node:events';
import { copyFileSync, mkdirSync, readFileSync, realpathSync } from 'node:fs';
import { basename, join, resolve } from 'node:path';
import { parseArgs } from 'node:util';
import { startDevelopmentHost } from './support/development_host.mjs';
import { keepDocument } from './support/document.mjs';
import { listOfNotices, tableOfClients } from './support/results.mjs';
import { endProcessesIn, makeRunFolder, removeRunFolder, removeRunFoldersOnSignals } from './support/run_folders.mjs';

const kProgramLimitMs = 240000;
const kFolder = import.meta.dirname;

function refuse(reason) {
  console.error(`run_clients: ${reason}`);
  process.exit(2);
}

function readArguments() {
  let parsed;
  try {
    parsed = parseArgs({
      allowPositionals: true,
      options: { only: { type: 'string' }, 'write-document': { type: 'boolean' }, screenshot: { type: 'string' } },
    });
  } catch (error) {
    refuse(error.message);
  }
  if (parsed.positionals.length !== 4) refuse('SERVER, COMPANION, DEVHOST and FILE are needed');
  const [server, companion, devhost, file] = parsed.positionals.map((path) => {
    try {
      return realpathSync(path);
    } catch {
      return refuse(`there is no ${path}`);
    }
  });
  const { screenshot } = parsed.values;
  return { server, companion, devhost, file, ...parsed.values, screenshot: screenshot && resolve(screenshot) };
}

/// Runs one program; returns `{checks, notices, outcome, endingMs, add}`.
async function runProgram(label, client, setting) {
  const result = { checks: [], notices: [], outcome: undefined, endingMs: undefined };
  const add = (name, passed, reason = '') => {
    result.checks.push({ name, passed, reason });
    console.log(`${passed ? 'ok  ' : 'FAIL'} ${label}: ${name}`);
    if (!passed) console.log(reason.replaceAll(/^/gm, '       '));
  };
  const program = fork(join(kFolder, 'programs', `${client.id}.mjs`), [JSON.stringify(setting)], {
    cwd: setting.folder,
    env: { ...process.env, HOME: setting.folder, TMPDIR: setting.devhost },
    stdio: ['ignore', 'pipe', 'pipe', 'ipc'],
  });
  let output = '';
  for (const stream of [program.stdout, program.stderr]) stream.on('data', (text) => (output += text));
  program.on('message', (message) => {
    if ('check' in message) add(message.check, message.passed, message.reason);
    if ('notice' in message) result.notices.push(message);
    if ('outcome' in message) result.outcome = message.outcome;
    if ('endingMs' in message) result.endingMs = message.endingMs;
  });
  const limit = setTimeout(() => program.kill('SIGKILL'), kProgramLimitMs);
  const [[status]] = await Promise.all([once(program, 'exit'), once(program, 'disconnect')]);
  clearTimeout(limit);
  if (status !== 0) add('ends by itself', false, `exit status ${status}\n${output}`);
  return { ...result, add };
}

function makeSetting(options, throughServe) {
  const folder = makeRunFolder();
  const setting = { ...options, folder, throughServe, devhost: join(folder, 'd'), scripted: join(folder, 's') };
  for (const place of ['devhost', 'scripted']) mkdirSync(setting[place]);
  // As they are installed: in one folder, so that the companion finds the server.
  for (const program of ['server', 'companion']) {
    setting[program] = join(folder, basename(options[program]));
    copyFileSync(options[program], setting[program]);
  }
  if (throughServe) delete setting.screenshot; // One is enough.
  setting.command = throughServe ? [setting.companion, 'serve'] : [setting.server];
  return setting;
}

async function runClient(client, options, throughServe) {
  const setting = makeSetting(options, throughServe);
  try {
    const host = await startDevelopmentHost(options.devhost, options.file, setting.devhost);
    const names = { socketName: host.socketName, document: basename(options.file) };
    const label = throughServe ? `${client.id} through serve` : client.id;
    const result = await runProgram(label, client, { ...setting, ...names });
    await host.end();
    const left = endProcessesIn(setting.folder);
    result.add('leaves no process behind', left === 0, `${left} had to be ended`);
    return result;
  } finally {
    removeRunFolder(setting.folder);
  }
}

const options = readArguments();
const description = JSON.parse(readFileSync(join(kFolder, 'clients.json'), 'utf8'));
const clients = description.clients.filter(({ id }) => options.only === undefined || options.only === id);
if (clients.length === 0) refuse(`there is no client '${options.only}'`);
removeRunFoldersOnSignals();

const rows = [];
for (const client of clients) {
  const [bare, serve] = await Promise.all([false, true].map((way) => runClient(client, options, way)));
  rows.push({ client, bare, serve });
}
if (options.only === undefined) {
  const parts = { clients: tableOfClients(rows), notices: listOfNotices(rows, description.notices) };
  const state = keepDocument(parts, options['write-document']);
  rows[0].bare.add('docs/clients.md shows what this run showed', ...state);
}
const checks = rows.flatMap(({ bare, serve }) => [...bare.checks, ...serve.checks]);
const failed = checks.filter(({ passed }) => !passed).length;
console.log(`${checks.length - failed} passed, ${failed} failed`);
process.exitCode = failed === 0 ? 0 : 1;
