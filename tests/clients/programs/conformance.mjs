// The official conformance suite. It knows servers by URL only, so a bridge stands in front.

import assert from 'node:assert/strict';
import { join } from 'node:path';
import { startBridge } from '../support/bridge.mjs';
import { commandOf, runNode } from '../support/command.mjs';
import { check, reportOutcome, setting, timeUntilServersEnd } from '../support/setting.mjs';

const kExpectedFailures = new URL('../conformance_expected_failures.yml', import.meta.url).pathname;
const kPassing = ['server-initialize', 'tools-list'];

const bridge = await startBridge(setting.command, { ...process.env, TMPDIR: setting.devhost });
const suite = commandOf('@modelcontextprotocol/conformance', 'dist/index.js');
const results = ['--expected-failures', kExpectedFailures, '--output-dir', join(setting.folder, 'results')];
const { status, output, errors } = await runNode([suite, 'server', '--url', bridge.url, '--suite', 'all', ...results]);
const passed = [...output.matchAll(/^✓ (\S+): [1-9]\d* passed, 0 failed$/gm)].map(([, scenario]) => scenario);
const failedAsExpected = [...output.matchAll(/^ +~ (\S+)$/gm)];

for (const scenario of kPassing) {
  await check(`passes ${scenario}`, () => assert.ok(passed.includes(scenario), output));
}
await check('fails exactly the scenarios that are written down', () => {
  assert.equal(status, 0, output + errors);
  assert.equal(passed.length, kPassing.length, output);
});
reportOutcome(`${passed.length} of ${passed.length + failedAsExpected.length} scenarios apply, and pass`);
bridge.close();
await timeUntilServersEnd();
