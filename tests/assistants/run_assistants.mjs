// Lets assistants that people use find the server with an entry that `orvane-mcp config` has made.
//
//     node run_assistants.mjs SERVER COMPANION DEVHOST FILE [--only ID] [--write-document]
//
// FILE is an executable with symbols and a `main`. Prints one line a check; exit status 1 if one failed, 2 for usage.

import assert from 'node:assert/strict';
import { readFileSync, realpathSync } from 'node:fs';
import { basename, join } from 'node:path';
import { parseArgs } from 'node:util';
import { startDevelopmentHost } from '../clients/support/development_host.mjs';
import { keepDocument } from '../clients/support/document.mjs';
import { endProcessesIn, removeRunFoldersOnSignals } from '../clients/support/run_folders.mjs';
import { Place } from './place.mjs';
import { listOfRemarks, tableOfKnownClients } from './results.mjs';
import { ScriptedModel } from './scripted_model.mjs';

const kPrompt = 'Where is main?';

function refuse(reason) {
  console.error(`run_assistants: ${reason}`);
  process.exit(2);
}

function readArguments() {
  let parsed;
  try {
    const options = { only: { type: 'string' }, 'write-document': { type: 'boolean' } };
    parsed = parseArgs({ allowPositionals: true, options });
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
  return { server, companion, devhost, file, ...parsed.values };
}

/// Passed and failed checks of one assistant.
class Checks {
  passed = [];
  failed = [];

  constructor(id) {
    this.id = id;
  }

  async see(name, body) {
    try {
      await body();
      this.passed.push(name);
      console.log(`ok   ${this.id}: ${name}`);
    } catch (error) {
      this.failed.push(name);
      console.log(`FAIL ${this.id}: ${name}`);
      console.log(String(error?.stack ?? error).replaceAll(/^/gm, '       '));
    }
  }
}

async function config(place, ...args) {
  const { status, output } = await place.run([place.companion, 'config', ...args]);
  assert.equal(status, 0, output);
}

async function seeDoctorContent(place, id) {
  const { output } = await place.run([place.companion, 'doctor', '--json']);
  const finding = JSON.parse(output).checks.find(({ check }) => check === `client ${id}`);
  assert.equal(finding?.verdict, 'ok', output);
}

async function seeListed(place, row, shown) {
  const { output } = await place.runAssistant(row, row.list);
  assert.match(output, new RegExp(shown));
}

/// The model makes the calls of `script`; it must be told the host's own answers, known exceptions apart.
async function takeTurn(place, row, script, document) {
  const model = await ScriptedModel.listen(row.turn.api, script);
  try {
    const { output } = await place.runAssistant(row, row.turn, { $MODEL: model.url, $PROMPT: kPrompt });
    assert.deepEqual(model.problems, [], output);
    assert.equal(model.outputs.length, script.length, output);
    for (const [index, { tool, answer }] of script.entries()) {
      const expected = row.turn.exceptions?.[tool] ?? answer;
      assert.match(model.outputs[index], new RegExp(expected.replace('DOCUMENT', document)));
    }
  } finally {
    model.close();
  }
}

async function tryAssistant(row, script, options) {
  const checks = new Checks(row.id);
  const place = new Place(options);
  try {
    const host = await startDevelopmentHost(options.devhost, options.file, place.temporary);
    await checks.see('config writes the entry', () => config(place, row.id, '--write'));
    await checks.see('doctor finds the entry in order', () => seeDoctorContent(place, row.id));
    if (row.untrusted !== undefined) {
      await checks.see('shows the server disabled in a folder that it does not trust', () =>
        seeListed(place, row, row.untrusted),
      );
      place.trustProject(row);
    }
    await checks.see(`shows the server ${row.list.word}`, () => seeListed(place, row, row.list.shows));
    await checks.see(`makes a turn of ${script.length} tool calls`, () =>
      takeTurn(place, row, script, basename(options.file)),
    );
    await checks.see('no longer shows the server after config has taken it out', async () => {
      await config(place, row.id, '--remove');
      const { output } = await place.runAssistant(row, row.list);
      assert.doesNotMatch(output, /orvane-mcp|orvane \(local\)/);
    });
    await host.end();
    await checks.see('leaves no process behind', () => assert.equal(endProcessesIn(place.folder), 0));
  } finally {
    place.remove();
  }
  return checks;
}

const options = readArguments();
const { turn, assistants } = JSON.parse(readFileSync(join(import.meta.dirname, 'assistants.json'), 'utf8'));
const chosen = assistants.filter(({ id }) => options.only === undefined || options.only === id);
if (chosen.length === 0) refuse(`there is no assistant '${options.only}'`);
removeRunFoldersOnSignals();

const results = [];
for (const row of chosen) results.push({ row, checks: await tryAssistant(row, turn, options) });
if (options.only === undefined)
  await results[0].checks.see('docs/clients.md shows what this run showed', () => {
    const parts = { assistants: tableOfKnownClients(results, turn), remarks: listOfRemarks(chosen) };
    const [isKept, reason] = keepDocument(parts, options['write-document']);
    assert.ok(isKept, reason);
  });
const failed = results.flatMap(({ checks }) => checks.failed).length;
console.log(`${results.flatMap(({ checks }) => checks.passed).length} passed, ${failed} failed`);
process.exitCode = failed === 0 ? 0 : 1;
