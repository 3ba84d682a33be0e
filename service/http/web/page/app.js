// SPDX-License-Identifier: MIT
// The page: three tabs, one of which is seen, and the address that has its state.
import {onFragment, readFragment, writeFragment} from './address.js';
import {DescriptionTab} from './description_tab.js';
import {find} from './dom.js';
import {PathTab} from './path_tab.js';
import {PictureTab} from './picture_tab.js';
import {Problem} from './service.js';
import {clearFailure, say, showFailure, startStatus} from './status.js';
import {startTabs} from './tabs.js';

const kAddressPause = 300;  // milliseconds

let present = 'text';
let addressTimer = 0;
let againTimer = 0;

// Runs work. A failure that is not the input's fault is shown with a way to try again; where the service says when, that
// happens by itself.
async function guard(work, again) {
  try {
    await work();
    clearTimeout(againTimer);
    clearFailure();
  } catch (problem) {
    if (problem.name === 'AbortError') return;
    if (!(problem instanceof Problem)) throw problem;
    showFailure(problem, again);
    clearTimeout(againTimer);
    if (problem.retryAfter) againTimer = setTimeout(again, problem.retryAfter * 1000);
  }
}

const noteAddress = () => {
  clearTimeout(addressTimer);
  addressTimer = setTimeout(writeAddress, kAddressPause);
};

async function writeAddress() {
  clearTimeout(addressTimer);
  writeFragment({tab: present, ...await tabs[present].state()});
}

async function readAddress() {
  const members = readFragment();
  const name = Object.hasOwn(tabs, members.tab ?? '') ? members.tab : 'text';
  const whole = await tabs[name].restore(members);
  showTab(name);
  if (!whole) say('The address is damaged; its text could not be read');
}

async function copyLink() {
  await writeAddress();
  try {
    await navigator.clipboard.writeText(location.href);
    say('Link copied');
    find('copy-link').textContent = 'Copied';
  } catch {
    say('The link is in the address bar');
    find('copy-link').textContent = 'See the address bar';
  }
  setTimeout(() => { find('copy-link').textContent = 'Copy link'; }, 2000);
}

const schema = await fetch(new URL(`${document.body.dataset.assets}/line.schema.json`, document.baseURI))
  .then((response) => response.json());
const shared = {schema, guard, changed: noteAddress};
const tabs = {text: new DescriptionTab(shared), path: new PathTab(shared), picture: new PictureTab(shared)};

const showTab = startTabs((name) => {
  present = name;
  clearFailure();
  tabs[name].open();
});
startStatus();
find('copy-link').addEventListener('click', copyLink);
find('skip').addEventListener('click', (event) => {
  event.preventDefault();  // the fragment is the state's
  find('main').focus();
});
onFragment(readAddress);
await readAddress();
