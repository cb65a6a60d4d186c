// The SDK's successor with version negotiation: it asks a first process for `server/discover`, ends it, and starts a
// second one for the session.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { Client } from '@modelcontextprotocol/client';
import { StdioClientTransport } from '@modelcontextprotocol/client/stdio';
import { holdConversations } from '../support/conversation.mjs';
import { connectSdk } from '../support/sdk_session.mjs';
import { check, notice, setting } from '../support/setting.mjs';

function connect(environment, command) {
  const client = new Client({ name: 'client-2.4', version: '1' }, { versionNegotiation: { mode: 'auto' } });
  const callTool = (parameters, options) => client.callTool(parameters, options);
  return connectSdk({ client, StdioClientTransport, environment, callTool, command });
}

function lineOf(events, process, event) {
  return JSON.parse(events.find((entry) => entry.process === process && entry.event === event).line);
}

await check('falls back after -32601 to server/discover, in a second process', async () => {
  const record = join(setting.folder, 'record');
  const recorder = new URL('../support/recorder.mjs', import.meta.url).pathname;
  const session = await connect({ TMPDIR: setting.devhost }, [process.execPath, recorder, record, ...setting.command]);
  assert.equal(await session.call('current_document', {}), setting.document);
  await session.close();

  const events = readFileSync(record, 'utf8').trimEnd().split('\n').map(JSON.parse);
  const [first, second] = events.filter(({ event }) => event === 'start').map((entry) => entry.process);
  assert.equal(lineOf(events, first, 'client').method, 'server/discover');
  const reply = lineOf(events, first, 'server');
  assert.deepEqual(reply.error, { code: -32601, data: 'server/discover', message: 'Method not found' });
  assert.equal(lineOf(events, second, 'client').method, 'initialize');
  assert.equal(lineOf(events, second, 'server').result.protocolVersion, '2025-03-26');
  const firstEnd = events.find(({ event, process }) => event === 'end' && process === first);
  assert.ok(firstEnd !== undefined, 'the first process was ended');
  notice('second process');
});
await holdConversations((environment) => connect(environment));
