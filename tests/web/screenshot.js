// SPDX-License-Identifier: MIT
// The picture of the page that the README shows: a description with a slip that the editor has found.
import {spawnSync} from 'node:child_process';
import {mkdtempSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {fileURLToPath} from 'node:url';
import {drawn, openPage, startBrowser, write} from './browser.js';
import {startService} from './service.js';

const kTarget = fileURLToPath(new URL('../../docs/images/service.png', import.meta.url));
const kDescription = `[
  {"Content": "A page of several lines",
   "DeltaX": 40, "DeltaY": 30,
   "Font": {"FontName": "Times New Roman",
            "FontSize": 30, "Color": "#1F4E79"}},
  {"Content": "每一行都有自己的位置",
   "DeltaX": 40, "DeltaY": 90,
   "Font": {"FontSize": 22, "Color": "#80"}},
  {"Content": "ואפילו מימין לשמאל",
   "DeltaX": 40, "DeltaY": 140,
   "Font": {"FontName": "Arial", "Itallic": true,
            "Color": "#C0392B"}}
]`;

const folder = mkdtempSync(join(tmpdir(), 'tovkit-screenshot-'));
const service = await startService();
const browser = await startBrowser();
try {
  const page = await openPage(browser, service);
  await page.setViewportSize({width: 1280, height: 800});
  await drawn(page);
  await write(page, 'text-editor', kDescription);
  await page.fill('#text-size', '480x220');
  await page.waitForSelector('.problem.warning');
  await drawn(page);
  await page.evaluate(() => document.activeElement.blur());
  const shot = join(folder, 'shot.png');
  await page.screenshot({path: shot});
  const {status, stderr} = spawnSync(process.env.TOVKIT_COMMAND, ['image', shot, '-o', kTarget, '--effort', '9']);
  if (status !== 0) throw new Error(String(stderr));
} finally {
  await browser.close();
  await service.stop();
  rmSync(folder, {recursive: true});
}
