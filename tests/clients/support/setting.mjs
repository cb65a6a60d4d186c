// What the runner tells a client program, and how the program reports back.

import { readFileSync, readlinkSync } from 'node:fs';
import { processesIn } from './run_folders.mjs';

/// Longest wait for anything that is waited for: far longer than it takes.
export const kWaitLimitMs = 30000;

const kAskAgainMs = 5;

/// Where everything is: `command` (what the client starts, a list), `throughServe` (whether that is `orvane-mcp serve`
/// and not the server itself), `server` and `companion` (the executables), `folder` (the run's own), `devhost` and
/// `scripted` (values for TMPDIR, with the development host and with none in it), `socketName`, `document` (the name of
/// the opened file).
export const setting = JSON.parse(process.argv[2]);

/// Reports one check: passed when `body` ends, failed with the reason when it throws.
export async function check(name, body) {
  try {
    await body();
    process.send({ check: name, passed: true });
  } catch (error) {
    process.send({ check: name, passed: false, reason: String(error?.stack ?? error) });
  }
}

/// Reports something that was seen and that users of this client should know; clients.json has the words for `what`.
export function notice(what, value = '') {
  process.send({ notice: what, value: String(value) });
}

/// Reports what the whole run came to, where "works" would say too much.
export function reportOutcome(outcome) {
  process.send({ outcome });
}

/// Reports how long the client took to end its server.
export function reportEnding(milliseconds) {
  process.send({ endingMs: milliseconds });
}

export function delay(milliseconds) {
  return new Promise((resolve) => setTimeout(resolve, milliseconds));
}

/// Asks again and again until `condition` holds.
export async function waitUntil(condition, what) {
  const limit = performance.now() + kWaitLimitMs;
  while (!(await condition())) {
    if (performance.now() > limit) throw new Error(`Waited in vain: ${what}`);
    await delay(kAskAgainMs);
  }
}

function running(...executables) {
  return processesIn(setting.folder).filter((pid) => {
    try {
      const state = readFileSync(`/proc/${pid}/stat`, 'utf8').split(') ')[1][0];
      return executables.includes(readlinkSync(`/proc/${pid}/exe`)) && state !== 'Z';
    } catch {
      return false;
    }
  });
}

/// The servers that this run's client has started and that still run.
export function runningServers() {
  return running(setting.server);
}

/// Milliseconds from now until the last server of this run has ended, and the last `orvane-mcp serve`.
export async function timeUntilServersEnd() {
  const start = performance.now();
  await waitUntil(() => running(setting.server, setting.companion).length === 0, 'the server to end');
  return performance.now() - start;
}

/// Notes whether the running server was given the client's own TMPDIR without being told to.
export function noticeTemporaryFolder() {
  const [server] = runningServers();
  const variables = readFileSync(`/proc/${server}/environ`, 'utf8').split('\0');
  const isPassedOn = variables.some((variable) => variable.startsWith('TMPDIR='));
  notice(isPassedOn ? 'TMPDIR passed on' : 'TMPDIR not passed on');
}
