// Runs a command to its end.

import { spawn } from 'node:child_process';
import { once } from 'node:events';

/// Runs Node with `args`; returns `{status, output, errors, lastOutputAt}`, the last on performance.now()'s clock.
export async function runNode(args, environment = process.env) {
  const child = spawn(process.execPath, args, { env: environment, stdio: ['ignore', 'pipe', 'pipe'] });
  const result = { output: '', errors: '', lastOutputAt: 0 };
  child.stdout.setEncoding('utf8').on('data', (text) => {
    result.output += text;
    result.lastOutputAt = performance.now();
  });
  child.stderr.setEncoding('utf8').on('data', (text) => (result.errors += text));
  [result.status] = await once(child, 'close');
  return result;
}

/// The script that a package's command `name` runs, seen from this folder's node_modules.
export function commandOf(packageName, path) {
  return new URL(`../node_modules/${packageName}/${path}`, import.meta.url).pathname;
}
