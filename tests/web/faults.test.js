// SPDX-License-Identifier: MIT
// What the page does when the service cannot or will not.
import assert from 'node:assert/strict';
import {after, before, test} from 'node:test';
import {assertAccessible, assertQuiet, drawn, openPage, startBrowser, write} from './browser.js';
import {startService} from './service.js';

let browser;
before(async () => { browser = await startBrowser(); });
after(async () => { await browser?.close(); });

const kFailed = /console error: Failed to load resource: /;
const told = (page, title) => page.waitForSelector(`#notice:not([hidden]) #notice-title:text-is("${title}")`);
const gone = (page) => page.waitForSelector('#notice', {state: 'hidden'});

// Answers the next drawing with a problem, as often as `times` says; then the service answers.
async function refuse(page, times, status, headers, members) {
  let left = times;
  await page.route('**/v1/draw?**', (route) => (left-- > 0
    ? route.fulfill({status, headers: {'Content-Type': 'application/problem+json', ...headers}, body: JSON.stringify({status, ...members})})
    : route.continue()));
}

test('a service that is gone is told, and found again', async () => {
  let service = await startService();
  const page = await openPage(browser, service);
  await drawn(page);
  const {port} = new URL(service.address);
  await service.stop();
  await write(page, 'text-editor', '{"Content": "kept"}');
  await told(page, 'The service does not answer.');
  await assertAccessible(page);
  service = await startService('--listen', `127.0.0.1:${port}`);
  try {
    await page.click('#notice-retry');
    await gone(page);
    await drawn(page);
    assert.match(await page.getAttribute('#text-picture', 'alt'), /kept$/);
    await assertQuiet(page, kFailed);
    await page.close();
  } finally {
    await service.stop();
  }
});

test('too large a body is told with its limit', async () => {
  const service = await startService('--max-body', '2K');
  try {
    const page = await openPage(browser, service);
    await drawn(page);
    await write(page, 'text-editor', JSON.stringify({Content: 'x'.repeat(3000)}));
    await page.waitForSelector('.problem.error');
    assert.ok(await page.isHidden('#notice'));
    assert.ok((await page.textContent('.problem.error .problem-text')).length > 10);
    await assertQuiet(page, kFailed);
    await page.close();
  } finally {
    await service.stop();
  }
});

test('refusals are told in words, and what may pass is tried again', async () => {
  const service = await startService();
  try {
    for (const [status, headers, members, title, detail] of [
      [429, {'Retry-After': '1'}, {}, 'The service is busy.', /queue is full/],
      [503, {'Retry-After': '1'}, {detail: 'The service is going down.'}, 'The service is busy.', /going down/],
      [504, {}, {}, 'That took too long.', /smaller picture/],
      [500, {}, {id: 'job-77'}, 'Something broke in the service.', /job-77/],
      [418, {}, {title: 'A teapot', detail: 'Short and stout.'}, 'A teapot', /Short and stout/],
    ]) {
      const page = await openPage(browser, service);
      await drawn(page);
      await refuse(page, 1, status, headers, members);
      await page.fill('#text-dpi', '100');
      await told(page, title);
      assert.match(await page.textContent('#notice-detail'), detail);
      await assertAccessible(page);
      if (!headers['Retry-After']) await page.click('#notice-retry');
      await gone(page);
      await drawn(page);
      await assertQuiet(page, kFailed);
      await page.close();
    }
  } finally {
    await service.stop();
  }
});

test('a service that asks for a token gets it', async () => {
  const service = await startService();
  try {
    const page = await openPage(browser, service);
    await drawn(page);
    await page.route('**/v1/**', (route) => (route.request().headers().authorization === 'Bearer s3cret' ? route.continue()
      : route.fulfill({status: 401, headers: {'Content-Type': 'application/problem+json', 'WWW-Authenticate': 'Bearer'}, body: '{"status": 401}'})));
    await page.fill('#text-dpi', '100');
    await told(page, 'A token is needed.');
    await assertAccessible(page);
    await page.fill('#token', 's3cret');
    await page.click('#token-form button');
    await gone(page);
    await drawn(page);
    await assertQuiet(page, kFailed);
    await page.close();
  } finally {
    await service.stop();
  }
});
