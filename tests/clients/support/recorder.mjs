// Stands between a client and a server and writes down what passes: recorder.mjs RECORD COMMAND [ARGUMENT...]
// Each line of RECORD is {at, process, event} with event "start", "end", "client" or "server"; the last two have the
// line that passed, `at` is in milliseconds.

import { spawn } from 'node:child_process';
import { appendFileSync } from 'node:fs';
import { createInterface } from 'node:readline';

const [record, command, ...args] = process.argv.slice(2);
const server = spawn(command, args, { stdio: ['pipe', 'pipe', 'inherit'] });

function write(event, line) {
  appendFileSync(record, `${JSON.stringify({ at: Date.now(), process: process.pid, event, line })}\n`);
}

function pass(from, to, event) {
  createInterface({ input: from, crlfDelay: Infinity }).on('line', (line) => {
    write(event, line);
    to.write(`${line}\n`);
  });
}

write('start');
pass(process.stdin, server.stdin, 'client');
pass(server.stdout, process.stdout, 'server');
process.stdin.on('end', () => server.stdin.end());
process.on('SIGTERM', () => server.kill('SIGTERM'));
server.on('exit', () => {
  write('end');
  process.exit(0);
});
