// The MCP Inspector's command line: a server of its own for each command.

import assert from 'node:assert/strict';
import { commandOf, runNode } from '../support/command.mjs';
import { textOf } from '../support/conversation.mjs';
import { kEveryTool } from '../support/every_tool.mjs';
import { ScriptedHost } from '../support/scripted_host.mjs';
import {
  check,
  notice,
  noticeTemporaryFolder,
  reportEnding,
  runningServers,
  setting,
  timeUntilServersEnd,
  waitUntil,
} from '../support/setting.mjs';

const kInspector = commandOf('@modelcontextprotocol/inspector', 'clients/launcher/build/index.js');

function inspect(temporaryFolder, ...args) {
  return runNode([kInspector, '--cli', '-e', `TMPDIR=${temporaryFolder}`, ...setting.command, ...args]);
}

function call(temporaryFolder, tool, ...args) {
  return inspect(temporaryFolder, '--method', 'tools/call', '--tool-name', tool, ...args);
}

await check('lists the 34 tools', async () => {
  const { output, lastOutputAt } = await inspect(setting.devhost, '--method', 'tools/list');
  const names = JSON.parse(output).tools.map(({ name }) => name);
  assert.deepEqual(names.sort(), kEveryTool.map(({ tool }) => tool).sort());
  await timeUntilServersEnd();
  reportEnding(performance.now() - lastOutputAt);
});
await check('calls a tool', async () => {
  const args = ['--tool-args-json', '{"pattern":"^main$","case_sensitive":true}'];
  const { status, output } = await call(setting.devhost, 'search_procedures', ...args);
  assert.equal(status, 0);
  assert.match(textOf(JSON.parse(output)), /^\{"0x[0-9a-f]+": "main"\}$/);
});
await check('reports a tool that fails', async () => {
  const result = await call(setting.devhost, 'goto_address', '--tool-args-json', '{"address":"no_such_label"}');
  assert.equal(result.status, 1);
  const { message } = JSON.parse(result.errors).error;
  assert.match(message, /^"no_such_label" is neither a hexadecimal address nor a label/);
  notice('failure', message);
});
await check('reports an unknown tool', async () => {
  const result = await call(setting.devhost, 'fly');
  assert.notEqual(result.status, 0);
  const { message } = JSON.parse(result.errors).error;
  assert.match(message, /fly/);
  notice('unknown tool', message);
});

async function addressThatArrives(...args) {
  const host = await ScriptedHost.listen();
  const done = call(setting.scripted, 'comment', ...args);
  const request = await host.nextRequest();
  request.reply('');
  await done;
  host.close();
  return request.args[0];
}

await check('sends --tool-arg address=4096 as a number, which the server reads as empty', async () => {
  assert.equal(await addressThatArrives('--tool-arg', 'address=4096'), '');
  notice('number');
});
await check('sends --tool-args-json as it is', async () => {
  assert.equal(await addressThatArrives('--tool-args-json', '{"address":"4096"}'), '4096');
});
await check('connects without an environment of its own', async () => {
  const done = runNode([kInspector, '--cli', ...setting.command, '--method', 'tools/list']);
  await waitUntil(() => runningServers().length === 1, 'the server to start');
  noticeTemporaryFolder();
  assert.equal((await done).status, 0);
});
