// The development host, with one file opened.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { basename } from 'node:path';
import { createInterface } from 'node:readline';

/// Starts `program` in `folder`, which is its TMPDIR, and waits until it serves; returns `{socketName, end}`.
export async function startDevelopmentHost(program, file, folder) {
  const host = spawn(program, [file], {
    cwd: folder,
    env: { ...process.env, TMPDIR: folder },
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const ended = once(host, 'exit');
  const end = async () => {
    host.kill('SIGTERM');
    await ended;
  };
  for await (const line of createInterface({ input: host.stdout })) {
    const served = /^orvane-devhost: serving 1 documents? as (.*)$/.exec(line);
    if (served !== null) return { socketName: basename(served[1]), end };
  }
  throw new Error('The development host has ended before it served');
}
