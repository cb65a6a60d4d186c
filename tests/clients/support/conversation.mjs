// What every client library is put through. A session, as the programs make it, has
//   listTools()                  the names
//   call(tool, arguments, {timeout, signal})   the text of the answer; throws what the library throws
//   close()
//   errors                       what the library's error callback was given so far

import assert from 'node:assert/strict';
import { kEveryTool } from './every_tool.mjs';
import { ScriptedHost } from './scripted_host.mjs';
import {
  check,
  notice,
  noticeTemporaryFolder,
  reportEnding,
  runningServers,
  setting,
  timeUntilServersEnd,
} from './setting.mjs';

const kShortTimeoutMs = 300;
const kShownCharacters = 120;
const kShownOfError = 45;

/// Holds both conversations; `connect(environment)` starts a server and returns a session.
export async function holdConversations(connect) {
  await talkToDevelopmentHost(connect);
  await talkToScriptedHost(connect);
}

/// Connects, lists, calls every tool, fails in the two ways there are, closes.
export async function talkToDevelopmentHost(connect) {
  let session;
  await check('connects', async () => {
    session = await connect({ TMPDIR: setting.devhost });
    assert.equal(runningServers().length, 1, 'servers that run');
  });
  if (session === undefined) return;
  await check('lists the 34 tools', async () => {
    const names = await session.listTools();
    assert.deepEqual([...names].sort(), kEveryTool.map(({ tool }) => tool).sort());
  });
  await check('calls each of the 34 tools', () => callEveryTool(session));
  await check('reports a tool that fails', async () => {
    const error = await failureOf(session.call('goto_address', { address: 'no_such_label' }));
    assert.match(error.message, /"no_such_label" is neither a hexadecimal address nor a label/);
    notice('failure', shortened(error.message));
  });
  await check('reports an unknown tool', async () => {
    const error = await failureOf(session.call('fly', {}));
    assert.match(error.message, /fly/);
    notice('unknown tool', shortened(error.message));
  });
  await check('works after failures', async () => {
    assert.equal(await session.call('current_document', {}), setting.document);
  });
  await closeAndMeasure(session);
  await check('connects without an environment of its own', async () => {
    const plain = await connect(undefined);
    noticeTemporaryFolder();
    await plain.close();
    await timeUntilServersEnd();
  });
}

async function callEveryTool(session) {
  const main = Object.keys(JSON.parse(await session.call('search_procedures', { pattern: '^main$' })))[0];
  const filledIn = (text) => text.replaceAll('DOCUMENT', setting.document).replaceAll('MAIN', main);
  for (const row of kEveryTool) {
    const sent = JSON.parse(filledIn(JSON.stringify(row.arguments ?? {})));
    const expected = row.answer ?? row.failure;
    const pending = session.call(row.tool, sent);
    const text = row.failure ? (await failureOf(pending)).message : await pending;
    assert.match(text, new RegExp(filledIn(expected.source)), row.tool);
  }
}

/// Lets calls wait until the client gives up, and sees that later ones still get their own answers.
export async function talkToScriptedHost(connect) {
  const host = await ScriptedHost.listen();
  const session = await connect({ TMPDIR: setting.scripted });
  await check('gives up a call after its time-out', async () => {
    const failure = failureOf(session.call('current_address', {}, { timeout: kShortTimeoutMs }));
    const request = await host.nextRequest();
    const error = await failure;
    assert.match(`${error.name} ${error.message}`, /time|abort/i);
    request.reply('too late');
    await seeOwnAnswer(host, session);
  });
  noticeErrors(session);
  await check('cancels a call', async () => {
    const controller = new AbortController();
    const failure = failureOf(session.call('current_address', {}, { signal: controller.signal }));
    const request = await host.nextRequest();
    controller.abort(new Error('The user has stopped the call'));
    await failure;
    request.reply('too late');
    await seeOwnAnswer(host, session);
  });
  noticeErrors(session);
  await check('closes', () => session.close());
  await timeUntilServersEnd();
  host.close();
}

async function seeOwnAnswer(host, session) {
  const pending = session.call('current_document', {});
  const request = await host.nextRequest();
  assert.equal(request.request, 'currentDocumentWithReply:');
  request.reply('in time');
  assert.equal(await pending, 'in time');
}

function noticeErrors(session) {
  for (const { message } of session.errors.splice(0)) notice(kindOfError(message), shortened(message, kShownOfError));
}

function kindOfError(message) {
  if (/unknown message ID/.test(message)) return 'late reply';
  // The schemas of all libraries refuse null there, each in words of its own.
  return /"path": \[\s*"id"\s*\]/.test(message) ? 'null id' : 'other error';
}

/// Closes the session and reports how long its server then ran on.
export async function closeAndMeasure(session) {
  await check('closes and ends its server', async () => {
    const start = performance.now();
    await Promise.all([session.close(), timeUntilServersEnd()]);
    reportEnding(performance.now() - start);
  });
}

/// What `promise` is rejected with; throws if it is not.
export async function failureOf(promise) {
  let result;
  try {
    result = await promise;
  } catch (error) {
    return error;
  }
  throw new Error(`Expected a failure, got ${JSON.stringify(result)}`);
}

/// The text of a result with one content, as every result of this server is.
export function textOf(result) {
  assert.equal(result.isError ?? false, false, 'isError');
  assert.equal(result.content.length, 1);
  assert.equal(result.content[0].type, 'text');
  return result.content[0].text;
}

function shortened(text, characters = kShownCharacters) {
  const line = text.replaceAll(/\s+/g, ' ');
  return line.length <= characters ? line : `${line.slice(0, characters).trimEnd()}...`;
}
