// SPDX-License-Identifier: MIT
// The tab of pictures in the browser.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {assertAccessible, assertQuiet, downloadOf, drawn, kRefused, openPage} from './browser.js';
import {browser, service} from './site.js';

const kMade = '#formats-summary:text-is("6 of 6 made")';
const captioned = (page, text) =>
  page.waitForFunction((wanted) => document.getElementById('picture-caption').textContent.startsWith(wanted), text);
const fact = (page, term) => page.textContent(`#picture-facts div:has(dt:text-is("${term}")) dd`);

// A picture that the service itself draws, in any of its formats.
async function drawPicture(format, size = '200x100') {
  const answer = await fetch(`${service.address}v1/draw?format=${format}&size=${size}`,
    {method: 'POST', headers: {'Content-Type': 'application/json'}, body: '{"Content": "Picture"}'});
  assert.equal(answer.status, 200);
  return {name: `drawn.${format}`, mimeType: answer.headers.get('Content-Type'), buffer: Buffer.from(await answer.arrayBuffer())};
}

async function openPicture(file, fragment = '#tab=picture') {
  const page = await openPage(browser, service, fragment);
  await page.setInputFiles('#picture-file', file);
  await page.waitForSelector(kMade);
  return page;
}

test('without a picture there is an invitation', async () => {
  const page = await openPage(browser, service, '#tab=picture');
  await page.waitForSelector('#picture-invite');
  assert.equal(await page.locator('.formats button:disabled').count(), 6);
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('a picture is described, and each format has a size and a download', async () => {
  const page = await openPicture(await drawPicture('png'));
  assert.equal(await fact(page, 'Format'), 'PNG');
  assert.equal(await fact(page, 'Pixels'), '200 × 100');
  const heads = {png: '\x89PNG', jpeg: '\xff\xd8\xff', webp: 'RIFF', tiff: 'II*', jp2: '\0\0\0\x0cjP', bmp: 'BM'};
  for (const [format, head] of Object.entries(heads)) {
    const {name, bytes} = await downloadOf(page, () => page.click(`[data-control=save-${format}]`));
    assert.match(name, /^drawn\.\w+$/);
    assert.ok(bytes.toString('latin1').startsWith(head), format);
  }
  assert.equal(await page.locator('.tag').count(), 1);
  await assertAccessible(page);
  await assertQuiet(page);
  await page.close();
});

test('the result is seen in each format', async () => {
  const page = await openPicture(await drawPicture('png'));
  for (const [format, label] of [['jpeg', 'JPEG'], ['tiff', 'TIFF'], ['jp2', 'JPEG 2000'], ['bmp', 'BMP'], ['webp', 'WebP']]) {
    await page.check(`[data-control=show-${format}]`);
    await captioned(page, `200 × 100 px · ${label}`);
  }
  await assertQuiet(page);
  await page.close();
});

test('formats that browsers do not show are shown all the same', async () => {
  for (const format of ['tiff', 'jp2', 'bmp', 'webp', 'jpeg']) {
    const page = await openPicture(await drawPicture(format));
    assert.deepEqual(await page.evaluate(() => {
      const image = document.getElementById('picture-original');
      return [image.naturalWidth, image.naturalHeight];
    }), [200, 100], format);
    await assertQuiet(page);
    await page.close();
  }
});

test('a rectangle is cropped by the pointer and by numbers', async () => {
  const page = await openPicture(await drawPicture('png'));
  const box = await page.locator('#picture-original').boundingBox();
  await page.mouse.move(box.x + box.width * 0.25, box.y + box.height * 0.2);
  await page.mouse.down();
  await page.mouse.move(box.x + box.width * 0.75, box.y + box.height * 0.8, {steps: 4});
  await page.mouse.up();
  await captioned(page, '100 × 60 px');
  assert.deepEqual(await page.locator('.crop-edges input').evaluateAll((inputs) => inputs.map((input) => input.value)), ['50', '20', '150', '80']);
  assert.ok(await page.isVisible('#picture-frame'));
  await page.fill('#crop-right', '60');
  await captioned(page, '10 × 60 px');
  await page.click('#picture-reset');
  await captioned(page, '200 × 100 px');
  assert.ok(!await page.isVisible('#picture-frame'));
  await assertQuiet(page);
  await page.close();
});

test('size and quality change the result', async () => {
  const page = await openPicture(await drawPicture('png'));
  await page.fill('#picture-resize', '50%');
  await captioned(page, '100 × 50 px');
  await page.waitForSelector(kMade);
  const size = () => page.textContent('tr:has([data-control=save-jpeg]) .number');
  const before = await size();
  await page.focus('#picture-quality');
  await page.keyboard.press('Home');
  await page.waitForFunction((old) => {
    const now = document.querySelector('tr:has([data-control=save-jpeg]) .number').textContent;
    return now !== old && now !== '–';
  }, before);
  await page.fill('#picture-resize', 'small');
  await page.waitForSelector('#picture-resize[aria-invalid=true]');
  await assertQuiet(page, kRefused);
  await page.close();
});

test('a dropped picture is taken, and what is none is told', async () => {
  const page = await openPage(browser, service, '#tab=picture');
  // The page is there before what it does.
  await page.waitForSelector('#panel-picture:not([hidden])');
  const drop = (bytes, name, type) => page.evaluate(([list, file, mime]) => {
    const transfer = new DataTransfer();
    transfer.items.add(new File([new Uint8Array(list)], file, {type: mime}));
    document.getElementById('picture-drop').dispatchEvent(new DragEvent('drop', {dataTransfer: transfer, bubbles: true, cancelable: true}));
  }, [[...bytes], name, type]);
  await drop(Buffer.from('no picture'), 'notes.txt', 'text/plain');
  await page.waitForSelector('#picture-hint.wrong');
  assert.match(await page.textContent('#picture-hint'), /^notes\.txt cannot be used: /);
  await drop((await drawPicture('png')).buffer, 'dropped.png', 'image/png');
  await page.waitForSelector(kMade);
  assert.equal(await fact(page, 'File'), 'dropped.png');
  await assertQuiet(page, kRefused);
  await page.close();
});

test('a picture is pasted where pictures are, and nowhere else', async () => {
  const page = await openPage(browser, service, '#tab=text');
  await drawn(page);
  await page.evaluate(async (list) => {
    const blob = new Blob([new Uint8Array(list)], {type: 'image/png'});
    await navigator.clipboard.write([new ClipboardItem({'image/png': blob})]);
  }, [...(await drawPicture('png', '123x45')).buffer]);
  await page.keyboard.press('Control+V');
  await page.click('#tab-picture');
  await page.waitForSelector('#picture-invite:not(.small)');
  await page.keyboard.press('Control+V');
  await page.waitForSelector(kMade);
  assert.equal(await fact(page, 'Pixels'), '123 × 45');
  await page.evaluate(() => navigator.clipboard.writeText('no picture'));
  await page.keyboard.press('Control+V');
  assert.equal(await fact(page, 'Pixels'), '123 × 45');
  await assertQuiet(page);
  await page.close();
});

test('a sample is there for whoever has no picture', async () => {
  const page = await openPage(browser, service, '#tab=picture');
  await page.click('#picture-sample');
  await page.waitForSelector(kMade);
  assert.equal(await fact(page, 'Pixels'), '480 × 220');
  await assertQuiet(page);
  await page.close();
});

test('an address brings the changes to whatever picture comes', async () => {
  const page = await openPicture(await drawPicture('png'), '#tab=picture&crop=0,0,40,20&resize=50%25&show=webp');
  await captioned(page, '20 × 10 px · WebP');
  await assertQuiet(page);
  await page.close();
});
