// SPDX-License-Identifier: MIT
// The tab of paths in the browser.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {assertAccessible, assertQuiet, downloadOf, kRefused, mapped, openPage, write} from './browser.js';
import {browser, service} from './site.js';

const verdict = (page, text) =>
  page.waitForFunction((wanted) => document.getElementById('path-verdict').textContent === wanted, text);
const fact = async (page, term) => page.textContent(`#path-facts div:has(dt:text-is("${term}")) dd`);

async function openPath(path) {
  const page = await openPage(browser, service, '#tab=path');
  await mapped(page);
  await write(page, 'path-editor', path);
  await page.waitForSelector('#path-map.stale');
  await mapped(page);
  return page;
}

async function probe(page, x, y) {
  await page.fill('#path-x', String(x));
  await page.fill('#path-y', String(y));
}
const distanceIs = (page, text) => page.waitForFunction((wanted) =>
  document.querySelector('#path-facts dd')?.textContent === wanted, text);

test('the point under the pointer is told with its distance and the record that decided', async () => {
  const page = await openPath('M 0 0 L 100 0 L 100 100');
  const box = await page.locator('#path-picture').boundingBox();
  // Far inside the corner: no hit. The corner itself: a hit.
  await page.mouse.move(box.x + box.width * 0.3, box.y + box.height * 0.7);
  await verdict(page, 'Miss');
  assert.ok(Number(await fact(page, 'Distance')) > 20);
  const [x, y] = await page.evaluate(() => ['x', 'y'].map((name) => Number(document.getElementById(`path-${name}`).value)));
  assert.ok(x > 10 && x < 50 && y > 50 && y < 90, `${x}, ${y}`);
  await probe(page, 100, 50);
  await verdict(page, 'Hit');
  await distanceIs(page, '0');
  assert.equal(await fact(page, 'Decided by'), 'record 2 of 3, a line');
  assert.equal(await page.textContent('.pointed'), 'L 100 100');
  assert.equal(await page.locator('#path-overlay .decided').getAttribute('d'), 'M 100 0 L 100 100');
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('the arrow keys move the point', async () => {
  const page = await openPath('M 0 0 L 100 0 L 100 100');
  await probe(page, 50, 50);
  await distanceIs(page, '50');
  await page.focus('#path-map');
  await page.keyboard.press('ArrowRight');
  await page.waitForFunction(() => Number(document.getElementById('path-x').value) > 50);
  await page.keyboard.press('Shift+ArrowDown');
  await page.waitForFunction(() => Number(document.getElementById('path-y').value) > 54);
  await assertQuiet(page);
  await page.close();
});

test('tolerance and the inside change the verdict', async () => {
  const page = await openPath('M 0 0 H 100 V 100 H 0 Z');
  await probe(page, 40, 60);
  await verdict(page, 'Miss');
  await page.check('#path-fill');
  await verdict(page, 'Hit');
  assert.match(await fact(page, 'Decided by'), /all four/);
  assert.equal(await fact(page, 'Rays that cross'), '→ ↓ ← ↑');
  await probe(page, 40, -10);
  await verdict(page, 'Miss');
  await page.focus('#path-tolerance');
  for (let i = 0; i < 20; ++i) await page.keyboard.press('ArrowRight');
  await verdict(page, 'Hit');
  assert.equal(await page.textContent('#path-tolerance-value'), '13');
  await assertQuiet(page);
  await page.close();
});

test('the closing line points to the Z', async () => {
  const page = await openPath('M 0 0 H 100 V 100 Z');
  await probe(page, 70, 20);
  await verdict(page, 'Miss');
  await probe(page, 50, 50);
  await verdict(page, 'Hit');
  assert.match(await fact(page, 'Decided by'), /the closing line$/);
  assert.equal(await page.textContent('.pointed'), 'Z');
  await assertQuiet(page);
  await page.close();
});

test('an error of a path is marked where it is', async () => {
  const page = await openPage(browser, service, '#tab=path');
  await mapped(page);
  await write(page, 'path-editor', 'M 0 0\nL 10 x');
  await page.waitForSelector('#path-problems .problem.error');
  assert.match(await page.textContent('#path-problems .problem-at'), /^2:6$/);
  await write(page, 'path-editor', ' ');
  await page.waitForSelector('#path-empty:not([hidden])');
  await assertAccessible(page);
  await assertQuiet(page, kRefused);
  await page.close();
});

test('every example has a map, which is downloaded', async () => {
  const page = await openPage(browser, service, '#tab=path');
  for (const name of (await page.locator('#path-example option').allTextContents()).slice(1)) {
    await page.selectOption('#path-example', name);
    await mapped(page);
  }
  const {name, bytes} = await downloadOf(page, () => page.click('#path-download'));
  assert.equal(name, 'hits.png');
  assert.equal(bytes.toString('latin1', 1, 4), 'PNG');
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});
