// SPDX-License-Identifier: MIT
// The tab of text in the browser.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {assertAccessible, assertQuiet, downloadOf, drawn, editorText, kRefused, openPage, write} from './browser.js';
import {browser, service} from './site.js';

const caption = (page) => page.textContent('#text-caption');
const line = (content, more = {}) => JSON.stringify({Content: content, ...more}, null, 2);
const captioned = (page, text) =>
  page.waitForFunction((wanted) => document.getElementById('text-caption').textContent.includes(wanted), text);

// Waits until the first pixel of the drawing has a color.
const cornerIs = (page, color) => page.waitForFunction((wanted) => {
  const context = document.createElement('canvas').getContext('2d');
  context.drawImage(document.getElementById('text-picture'), 0, 0);
  return String([...context.getImageData(0, 0, 1, 1).data]) === wanted;
}, String(color));

test('the first look has a drawing, a report, and nothing in the console', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  assert.match(await caption(page), /^\d+ × \d+ px · .* of PNG · \d+ ms$/);
  assert.match(await page.textContent('#report-summary'), /^1 line · \d+ runs? · \d+ fonts?/);
  assert.ok(await page.locator('.run').count() >= 1);
  assert.ok(await page.evaluate(() => document.getElementById('text-picture').naturalWidth > 100));
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('what is typed is drawn', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  const wide = await page.evaluate(() => document.getElementById('text-picture').naturalWidth);
  await write(page, 'text-editor', line('i'));
  await page.waitForFunction((before) => document.getElementById('text-picture').naturalWidth < before / 2, wide);
  await drawn(page);
  assert.match(await page.getAttribute('#text-picture', 'alt'), /Drawn: i$/);
  await assertQuiet(page);
  await page.close();
});

test('of many changes the last is drawn', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', line(''));
  await page.keyboard.press('Control+A');
  await page.keyboard.type('{"Content":"typed letter by letter', {delay: 15});
  await page.waitForFunction(() => document.getElementById('text-picture').alt.endsWith('typed letter by letter'));
  await assertQuiet(page, kRefused);
  await page.close();
});

test('an error of JSON is marked where it is, and the last good drawing stays', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', '{\n  "Content": "x"\n  "DeltaX": 1\n}');
  await page.waitForSelector('.problem.error');
  assert.match(await page.textContent('.problem.error .problem-at'), /^3:\d+$/);
  assert.equal(await page.locator('.CodeMirror-lint-mark-error').count(), 1);
  assert.equal(await page.textContent('.CodeMirror-lint-mark-error'), '"DeltaX"');
  assert.equal(await page.locator('.CodeMirror-lint-marker-error').count(), 1);
  assert.ok(await page.isVisible('#text-picture'));
  await page.click('.problem.error .problem-place');
  assert.equal(await page.evaluate(() => document.querySelector('#text-editor .CodeMirror').CodeMirror.getSelection()), '"DeltaX"');
  await assertAccessible(page);
  await assertQuiet(page, kRefused);
  await page.close();
});

test('an unknown key is marked, and changed to the one that was meant', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', line('x', {Font: {FontNmae: 'Arial'}}));
  await page.click('text=Change to FontName');
  await page.waitForSelector('.problem.warning', {state: 'detached'});
  assert.match(await editorText(page, 'text-editor'), /"FontName": "Arial"/);
  await assertQuiet(page);
  await page.close();
});

test('missing characters stand out in the text and in the report', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', line('a\u{10C98}b\u{10C80}'));
  await page.waitForSelector('mark.missing');
  assert.deepEqual(await page.locator('.CodeMirror-lint-mark-missing').allTextContents(), ['\u{10C98}', '\u{10C80}']);
  assert.equal(await page.locator('mark.missing').count(), 2);
  assert.match(await page.getAttribute('mark.missing', 'title'), /U\+10C98 OLD HUNGARIAN/);
  assert.match(await page.textContent('#report-summary'), /2 missing/);
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('keys and values are completed', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', '{"Content": "x", "Font": {}}');
  for (let i = 0; i < 2; ++i) await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('Control+Space');
  await page.waitForSelector('.CodeMirror-hints');
  assert.deepEqual(await page.locator('.hint-label').allTextContents(), ['FontSize', 'FontName', 'Bold', 'Italic', 'Color']);
  await assertAccessible(page);
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await page.keyboard.press('Control+Space');
  await page.waitForSelector('.hint-label:text-is("true")');
  await page.keyboard.press('Enter');
  await page.waitForSelector('.CodeMirror-hints', {state: 'detached'});
  assert.equal(await editorText(page, 'text-editor'), '{"Content": "x", "Font": {"Bold": true}}');
  await drawn(page);
  await assertQuiet(page, kRefused);
  await page.close();
});

test('size, dots an inch, background and format change the drawing', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await page.fill('#text-size', '300x200');
  await captioned(page, '300 × 200 px');
  await page.fill('#text-dpi', '192');
  await captioned(page, '600 × 400 px');
  assert.equal(await page.evaluate(() => document.getElementById('text-picture').width), 300);
  await page.selectOption('#text-background', 'color');
  assert.ok(await page.isEnabled('#text-color'));
  await page.fill('#text-color', '#ff0000');
  await cornerIs(page, [255, 0, 0, 255]);
  await page.selectOption('#text-background', 'none');
  assert.ok(await page.isDisabled('#text-color'));
  await cornerIs(page, [0, 0, 0, 0]);
  for (const [format, label] of [['jpeg', 'JPEG'], ['webp', 'WebP'], ['svg', 'SVG'], ['bmp', 'BMP']]) {
    await page.selectOption('#text-format', format);
    await captioned(page, `of ${label}`);
  }
  await page.selectOption('#text-format', 'pdf');
  await captioned(page, 'shown as PNG; PDF on download');
  await assertQuiet(page);
  await page.close();
});

test('a size that is none is told at its field', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await page.fill('#text-size', 'huge');
  await page.waitForSelector('#text-size[aria-invalid=true]');
  assert.match(await caption(page), /huge/);
  await page.fill('#text-size', '');
  await page.waitForSelector('#text-size:not([aria-invalid])');
  await drawn(page);
  await assertQuiet(page, kRefused);
  await page.close();
});

test('each format is downloaded as it was chosen', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  const heads = {png: '\x89PNG', jpeg: '\xff\xd8\xff', webp: 'RIFF', svg: '<?xml', pdf: '%PDF-', tiff: 'II*', jp2: '\0\0\0\x0cjP', bmp: 'BM'};
  for (const [format, head] of Object.entries(heads)) {
    await page.selectOption('#text-format', format);
    const {name, bytes} = await downloadOf(page, () => page.click('#text-controls >> text=Download'));
    assert.match(name, /^drawing\.\w+$/);
    assert.ok(bytes.toString('latin1').startsWith(head), `${format}: ${bytes.subarray(0, 12).toString('latin1')}`);
  }
  await assertQuiet(page);
  await page.close();
});

test('pages are turned, and a PDF has all of them', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await page.selectOption('#text-example', 'Several pages');
  await page.waitForSelector('#text-pages:not([hidden])');
  assert.equal(await page.textContent('#text-page-label'), 'Page 1 of 3');
  assert.ok(await page.isDisabled('#text-previous'));
  const first = await caption(page);
  for (const label of ['Page 2 of 3', 'Page 3 of 3']) {
    await page.click('#text-next');
    await page.waitForFunction((wanted) => document.getElementById('text-page-label').textContent === wanted, label);
  }
  assert.ok(await page.isDisabled('#text-next'));
  await page.click('#text-previous');
  await page.waitForFunction(() => document.getElementById('text-page-label').textContent === 'Page 2 of 3');
  assert.notEqual((await caption(page)).split(' px')[0], first.split(' px')[0]);
  await page.selectOption('#text-format', 'pdf');
  const {bytes} = await downloadOf(page, () => page.click('#text-controls >> text=Download'));
  assert.match(bytes.toString('latin1'), /\/Count 3/);
  await assertQuiet(page);
  await page.close();
});

test('every example is drawn, and tidying up leaves what is tidy', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  const names = (await page.locator('#text-example option').allTextContents()).slice(1);
  assert.ok(names.length >= 4);
  for (const name of names) {
    await page.selectOption('#text-example', name);
    await drawn(page);
    const before = await editorText(page, 'text-editor');
    await page.click('#text-tidy');
    assert.equal(await editorText(page, 'text-editor'), before);
  }
  await write(page, 'text-editor', '{"Content":"x"}');
  await page.click('#text-tidy');
  assert.equal(await editorText(page, 'text-editor'), line('x'));
  await drawn(page);
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('an empty editor is an invitation', async () => {
  const page = await openPage(browser, service);
  await drawn(page);
  await write(page, 'text-editor', ' ');
  await page.waitForSelector('#text-empty:not([hidden])');
  assert.match(await caption(page), /choose an example/);
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});
