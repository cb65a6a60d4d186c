// The MCP Inspector's web page, used in a browser as a person would.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createServer } from 'node:net';
import { createInterface } from 'node:readline';
import { chromium } from 'playwright-core';
import { commandOf } from '../support/command.mjs';
import { check, kWaitLimitMs, notice, reportEnding, setting, timeUntilServersEnd } from '../support/setting.mjs';

const kInspector = commandOf('@modelcontextprotocol/inspector', 'clients/launcher/build/index.js');
const kBrowser = '/usr/bin/chromium';

async function freePort() {
  const listener = createServer().listen(0, '127.0.0.1');
  await once(listener, 'listening');
  const { port } = listener.address();
  listener.close();
  await once(listener, 'close');
  return port;
}

/// Starts the Inspector; returns `{inspector, url}` when it serves.
async function startInspector() {
  const environment = {
    ...process.env,
    CLIENT_PORT: String(await freePort()),
    MCP_SANDBOX_PORT: String(await freePort()),
    MCP_AUTO_OPEN_ENABLED: 'false',
    MCP_INSPECTOR_SECRET_STORE: 'memory',
  };
  const args = [kInspector, '--web', '-e', `TMPDIR=${setting.devhost}`, ...setting.command];
  const inspector = spawn(process.execPath, args, { env: environment, stdio: ['ignore', 'pipe', 'inherit'] });
  for await (const line of createInterface({ input: inspector.stdout })) {
    const url = /http:\S+TOKEN=\S+/.exec(line);
    if (url !== null) return { inspector, url: url[0] };
  }
  throw new Error('The Inspector has ended before it served');
}

async function useThePage(page, url) {
  await check('connects', async () => {
    await page.goto(url);
    await page.getByRole('switch', { name: /Connect or disconnect/ }).click({ force: true });
    await page.getByText('MCP 2025-03-26').waitFor();
  });
  await check('lists the 34 tools', async () => {
    await page.getByText('Tools', { exact: true }).click();
    await page.getByText('Tools (34)').waitFor();
  });
  await check('runs search_procedures and shows the result', async () => {
    await page.getByRole('button', { name: 'search_procedures', exact: true }).click();
    await page.getByRole('textbox', { name: 'pattern' }).fill('^main$');
    await page.getByRole('button', { name: 'Execute Tool' }).click();
    await page.getByText(/0x[0-9a-f]+.*main/).first().waitFor();
  });
  if (setting.screenshot !== undefined) await page.screenshot({ path: setting.screenshot });
  await check('reports a tool that fails', async () => {
    await page.getByRole('button', { name: 'goto_address', exact: true }).click();
    await page.getByRole('textbox', { name: 'address' }).fill('no_such_label');
    await page.getByRole('button', { name: 'Execute Tool' }).click();
    const message = page.getByText(/"no_such_label" is neither a hexadecimal address nor a label/).first();
    await message.waitFor();
    notice('failure', await message.innerText());
  });
  await check('disconnects and ends its server', async () => {
    const start = performance.now();
    await page.getByRole('button', { name: 'Disconnect from server' }).click();
    await timeUntilServersEnd();
    reportEnding(performance.now() - start);
  });
}

const { inspector, url } = await startInspector();
// The sandbox does not start for root, who runs tests in containers; the page is this machine's own.
const browser = await chromium.launch({ executablePath: kBrowser, args: ['--no-sandbox'] });
try {
  const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  page.setDefaultTimeout(kWaitLimitMs);
  await useThePage(page, url);
} finally {
  await browser.close();
  const ended = once(inspector, 'exit');
  inspector.kill('SIGTERM');
  await ended;
}
