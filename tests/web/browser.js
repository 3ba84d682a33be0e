// SPDX-License-Identifier: MIT
// Chromium, and pages of it that notice whatever a page must not do.
import assert from 'node:assert/strict';
import {mkdtemp, readFile, rm} from 'node:fs/promises';
import {createRequire} from 'node:module';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

const require = createRequire(join(process.env.TOVKIT_WEB_MODULES, 'package.json'));
const {chromium} = require('playwright-core');
const kAxe = require.resolve('axe-core/axe.min.js');

const kFlags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'];

// A browser with a profile of its own, gone when it is closed.
export async function startBrowser() {
  const folder = await mkdtemp(join(tmpdir(), 'tovkit-web-'));
  // A test that waits for nothing must end: everything that is waited for here comes in a moment.
  const context = await chromium.launchPersistentContext(folder, {
    executablePath: '/usr/bin/chromium', headless: true, args: kFlags, acceptDownloads: true,
    viewport: {width: 1280, height: 900}, permissions: ['clipboard-read', 'clipboard-write'],
  });
  context.setDefaultTimeout(15000);
  return {
    context,
    async close() {
      await context.close();
      await rm(folder, {recursive: true, force: true});
    },
  };
}

// Opens a page that records what it must not do: messages of the console, errors, requests to elsewhere.
export async function openPage(browser, service, fragment = '') {
  const page = await browser.context.newPage();
  const offences = [];
  page.on('console', (message) => offences.push(`console ${message.type()}: ${message.text()}`));
  page.on('pageerror', (error) => offences.push(`error: ${error.stack}`));
  page.on('request', (request) => {
    const {origin, protocol} = new URL(request.url());
    if (protocol !== 'blob:' && `${origin}/` !== service.address) offences.push(`foreign request: ${request.url()}`);
  });
  // Beside the console's own message: a violation has an event of its own.
  await page.addInitScript(() => {
    globalThis.violations = [];
    document.addEventListener('securitypolicyviolation', (event) => globalThis.violations.push(`${event.violatedDirective} ${event.blockedURI}`));
  });
  await page.goto(service.address + fragment);
  page.offences = offences;
  return page;
}

// What Chromium notes of an answer that refuses something.
export const kRefused = /console error: Failed to load resource: the server responded with a status of 4\d\d/;

// Nothing of it has happened. `expected` is a pattern of console messages that a test has brought about itself: browsers
// note every answer that is an error.
export async function assertQuiet(page, expected = null) {
  assert.deepEqual(page.offences.filter((offence) => !expected?.test(offence)), []);
  assert.deepEqual(await page.evaluate(() => globalThis.violations), []);
}

// No rule of axe-core is broken by what can be seen now.
export async function assertAccessible(page) {
  if (!await page.evaluate(() => 'axe' in globalThis)) await page.evaluate(await readFile(kAxe, 'utf8'));
  const {violations} = await page.evaluate(() => globalThis.axe.run());
  assert.deepEqual(violations.map(({id, nodes}) => `${id}: ${nodes.map((node) => `${node.target} ${node.failureSummary}`).join('; ')}`), []);
}

// Waits until the drawing is that of the present text.
export const drawn = (page) => page.waitForSelector('#text-sheet:not(.stale) #text-picture:not([hidden])');
export const mapped = (page) => page.waitForSelector('#path-map:not(.stale) #path-picture:not([hidden])');

// Puts a text into the editor of a tab, as if typed at once.
export async function write(page, editor, text) {
  await page.locator(`#${editor} .CodeMirror`).click();
  await page.keyboard.press('Control+A');
  await page.keyboard.insertText(text);
}

export const editorText = (page, editor) =>
  page.evaluate((id) => document.querySelector(`#${id} .CodeMirror`).CodeMirror.getValue(), editor);

// What a click downloads: {name, bytes}.
export async function downloadOf(page, click) {
  const [download] = await Promise.all([page.waitForEvent('download'), click()]);
  return {name: download.suggestedFilename(), bytes: await readFile(await download.path())};
}
