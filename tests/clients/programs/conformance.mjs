// The official conformance suite. It knows servers by URL only, so a bridge stands in front.

import assert from 'node:assert/strict';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { startBridge } from '../support/bridge.mjs';
import { commandOf, runNode } from '../support/command.mjs';
import { check, reportOutcome, setting, timeUntilServersEnd } from '../support/setting.mjs';

const kExpectedFailures = new URL('../conformance_expected_failures.yml', import.meta.url);
const kBareServerOnly = /^.*# bare server only:.*\n/gm;

/// The file of the failures that are expected of what is run: `orvane-mcp serve` answers more than the bare server.
function expectedFailures() {
  const all = readFileSync(kExpectedFailures, 'utf8');
  const file = join(setting.folder, 'expected_failures.yml');
  writeFileSync(file, setting.throughServe ? all.replaceAll(kBareServerOnly, '') : all);
  return file;
}

const kPassing = ['server-initialize', 'tools-list', ...(setting.throughServe ? ['ping'] : [])];

const bridge = await startBridge(setting.command, { ...process.env, TMPDIR: setting.devhost });
const suite = commandOf('@modelcontextprotocol/conformance', 'dist/index.js');
const results = ['--expected-failures', expectedFailures(), '--output-dir', join(setting.folder, 'results')];
const { status, output, errors } = await runNode([suite, 'server', '--url', bridge.url, '--suite', 'all', ...results]);
const summary = output.slice(output.indexOf('=== SUMMARY'));
const passed = [...output.matchAll(/^✓ (\S+): [1-9]\d* passed, 0 failed$/gm)].map(([, scenario]) => scenario);
const failedAsExpected = [...output.matchAll(/^ +~ (\S+)$/gm)];

for (const scenario of kPassing) {
  await check(`passes ${scenario}`, () => assert.ok(passed.includes(scenario), summary));
}
await check('fails exactly the scenarios that are written down', () => {
  assert.equal(status, 0, summary + errors);
  assert.equal(passed.length, kPassing.length, summary);
});
reportOutcome(`${passed.length} of ${passed.length + failedAsExpected.length} scenarios apply, and pass`);
bridge.close();
await timeUntilServersEnd();
