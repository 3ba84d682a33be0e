// SPDX-License-Identifier: MIT
// The service and the browser of a file of tests: started before its first test, stopped behind its last.
import {after, before} from 'node:test';
import {startBrowser} from './browser.js';
import {startService} from './service.js';

export let service;
export let browser;
before(async () => {
  service = await startService();
  browser = await startBrowser();
});
after(async () => {
  await browser?.close();
  await service?.stop();
});
