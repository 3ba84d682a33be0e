// SPDX-License-Identifier: MIT
// What surrounds the tabs: keyboard, colors, widths, shared addresses, the links of the footer.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {assertAccessible, assertQuiet, drawn, editorText, mapped, openPage, write} from './browser.js';
import {browser, service} from './site.js';

const focused = (page) => page.evaluate(() => document.activeElement.id || document.activeElement.closest('[id]')?.id);
const addressHas = (page, text) => page.waitForFunction((wanted) => location.hash.includes(wanted), text);

test('the whole page is walked with the keyboard', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await page.keyboard.press('Tab');
  assert.equal(await focused(page), 'skip');
  await page.keyboard.press('Enter');
  assert.equal(await focused(page), 'main');
  await page.keyboard.press('Shift+Tab');
  const met = [];
  for (let i = 0; i < 40 && met.at(-1) !== 'text-editor'; ++i) {
    await page.keyboard.press('Tab');
    met.push(await focused(page));
  }
  // The editor takes Tab for itself until Esc is pressed.
  await page.keyboard.press('Tab');
  assert.equal(await focused(page), 'text-editor');
  await page.keyboard.press('Escape');
  await page.keyboard.press('Tab');
  for (let i = 0; i < 40 && await focused(page) !== 'skip'; ++i) {
    met.push(await focused(page));
    await page.keyboard.press('Tab');
    if (await page.evaluate(() => document.activeElement === document.body)) break;
  }
  for (const id of ['text-example', 'text-tidy', 'text-editor', 'text-size', 'text-dpi', 'text-background', 'text-format', 'text-sheet']) {
    assert.ok(met.includes(id), `${id} is not among ${met}`);
  }
  await page.close();
});

test('arrows, Home and End choose a tab', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await page.focus('#tab-text');
  for (const [key, tab] of [['ArrowRight', 'path'], ['ArrowRight', 'picture'], ['ArrowRight', 'text'], ['ArrowLeft', 'picture'],
    ['Home', 'text'], ['End', 'picture']]) {
    await page.keyboard.press(key);
    assert.equal(await focused(page), `tab-${tab}`);
    assert.equal(await page.locator('[role=tabpanel]:visible').getAttribute('id'), `panel-${tab}`);
    assert.equal(await page.locator('[role=tab][tabindex="0"], [role=tab]:not([tabindex])').count(), 1);
  }
  await addressHas(page, 'tab=picture');
  await assertQuiet(page);
  await page.close();
});

test('what has the focus can be seen', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  for (let i = 0; i < 8; ++i) {
    await page.keyboard.press('Tab');
    const seen = await page.evaluate(() => {
      const element = document.activeElement.closest('.editor') ?? document.activeElement;
      const {outlineStyle, outlineWidth} = getComputedStyle(element);
      return element.id === 'skip' ? element.getBoundingClientRect().top >= 0 : outlineStyle !== 'none' && Number.parseFloat(outlineWidth) >= 1;
    });
    assert.ok(seen, await focused(page));
  }
  await page.close();
});

for (const scheme of ['light', 'dark']) {
  test(`each tab is accessible in ${scheme} colors`, async () => {
    const page = await openPage(browser, service);
    await page.emulateMedia({colorScheme: scheme});
    await drawn(page);
    assert.equal(await page.getAttribute('#theme', 'aria-pressed'), String(scheme === 'dark'));
    await page.selectOption('#text-example', 'With mistakes');
    await page.waitForSelector('.problem.warning');
    await drawn(page);
    await assertAccessible(page);
    await page.click('#tab-path');
    await mapped(page);
    await assertAccessible(page);
    await page.click('#tab-picture');
    await assertAccessible(page);
    await page.click('#picture-sample');
    await page.waitForSelector('#formats-summary:text-is("6 of 6 made")');
    await assertAccessible(page);
    await assertQuiet(page);
    await page.close();
  });
}

test('the colors are chosen by a button, and remembered', async () => {
  const page = await openPage(browser, service);
  await page.emulateMedia({colorScheme: 'light'});
  const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
  const light = await ground();
  await page.click('#theme');
  assert.equal(await page.getAttribute('#theme', 'aria-pressed'), 'true');
  assert.notEqual(await ground(), light);
  await page.reload();
  assert.notEqual(await ground(), light);
  await page.click('#theme');
  assert.equal(await ground(), light);
  await page.close();
});

test('no width has to be scrolled sideways', async () => {
  const page = await openPage(browser, service);
  await page.selectOption('#text-example', 'With mistakes');
  await drawn(page);
  for (const width of [320, 360, 820, 1440]) {
    await page.setViewportSize({width, height: 800});
    for (const tab of ['text', 'path', 'picture']) {
      await page.click(`#tab-${tab}`);
      const over = await page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
      assert.equal(over, 0, `${tab} at ${width}`);
    }
    await page.click('#tab-text');
  }
  await page.setViewportSize({width: 360, height: 780});
  await drawn(page);
  await assertAccessible(page);
  await page.close();
});

test('a drawing that comes moves nothing', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  const top = () => page.evaluate(() => document.getElementById('report-title').getBoundingClientRect().top);
  const before = await top();
  await page.fill('#text-size', '900x1200');
  await page.waitForFunction(() => document.getElementById('text-caption').textContent.startsWith('900 × 1200'));
  assert.equal(await top(), before);
  await page.close();
});

test('who wants less motion gets none', async () => {
  const page = await openPage(browser, service);
  await page.emulateMedia({reducedMotion: 'reduce'});
  assert.equal(await page.evaluate(() => getComputedStyle(document.getElementById('text-picture')).transitionDuration), '0s');
  await page.close();
});

test('an address brings everything back', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', '{"Content": "shared 世界 😀"}');
  await page.fill('#text-size', '300x200');
  await page.fill('#text-dpi', '192');
  await page.selectOption('#text-background', 'none');
  await page.selectOption('#text-format', 'webp');
  await page.waitForFunction(() => document.getElementById('text-caption').textContent.includes('600 × 400 px'));
  await page.click('#copy-link');
  await page.waitForSelector('#copy-link:text-is("Copied")');
  const link = await page.evaluate(() => navigator.clipboard.readText());
  assert.ok(link.startsWith(`${service.address}#tab=text&`));
  const other = await openPage(browser, service, new URL(link).hash);
  await other.waitForFunction(() => document.getElementById('text-caption').textContent.includes('600 × 400 px'));
  assert.equal(await editorText(other, 'text-editor'), '{"Content": "shared 世界 😀"}');
  assert.deepEqual(await other.evaluate(() => ['size', 'dpi', 'background', 'format'].map((name) => document.getElementById(`text-${name}`).value)),
    ['300x200', '192', 'none', 'webp']);
  await assertQuiet(other);
  // Another fragment in an open page.
  await page.click('#tab-path');
  await mapped(page);
  await page.check('#path-fill');
  await addressHas(page, 'fill=1');
  const path = await page.evaluate(() => location.hash);
  await other.evaluate((hash) => { location.hash = hash; }, path);
  await mapped(other);
  assert.ok(await other.isChecked('#path-fill'));
  await assertQuiet(other);
  await page.close();
  await other.close();
});

test('a broken address does no harm', async () => {
  for (const fragment of ['#%', '#tab=nothing', '#tab=text&d=!!!!', '#tab=text&dpi=-1&page=x&background=%23zz&format=exe',
    '#tab=path&p=AAAA&tolerance=1e99&x=NaN&y=', '#tab=picture&crop=1,2&quality=900&show=exe', '#tab=constructor', '#__proto__=1']) {
    const page = await openPage(browser, service, fragment);
    await page.waitForSelector('[role=tabpanel]:not([hidden])');
    if (await page.isVisible('#panel-text')) await drawn(page);
    if (await page.isVisible('#panel-path')) await mapped(page);
    await assertQuiet(page);
    await page.close();
  }
});

test('the status is told to a screen reader', async () => {
  const page = await openPage(browser, service);
  await page.waitForFunction(() => /^Drawn, 1 line\./.test(document.getElementById('status').textContent));
  assert.equal(await page.getAttribute('#status', 'aria-live'), 'polite');
  await page.close();
});

test('the links of the footer lead somewhere', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  const links = await page.locator('footer a').evaluateAll((all) => all.map((link) => link.href));
  assert.equal(links.length, 3);
  const texts = await Promise.all(links.map(async (link) => {
    const answer = await fetch(link);
    assert.equal(answer.status, 200, link);
    return answer.text();
  }));
  assert.match(texts.join(), /openapi/);
  assert.match(texts.join(), /Marijn Haverbeke/);
  await page.close();
});

test('files of the page may be kept for good, the page itself is asked for', async () => {
  const answer = await fetch(service.address);
  assert.equal(answer.headers.get('Cache-Control'), 'no-cache');
  const policy = answer.headers.get('Content-Security-Policy');
  assert.match(policy, /default-src 'none'/);
  assert.doesNotMatch(policy, /unsafe/);
  const html = await answer.text();
  assert.doesNotMatch(html, /\sstyle=|<style|\son\w+=|javascript:|https?:/);
  assert.match(html, /<noscript>.*needs JavaScript/);
  const [script] = /assets\/[0-9a-f]+\/app\.js/.exec(html);
  const file = await fetch(service.address + script);
  assert.match(file.headers.get('Cache-Control'), /immutable/);
  const again = await fetch(service.address, {headers: {'If-None-Match': answer.headers.get('ETag')}});
  assert.equal(again.status, 304);
});
