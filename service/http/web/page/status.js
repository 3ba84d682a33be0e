// SPDX-License-Identifier: MIT
// What the page says: quietly to screen readers, and in a notice that stays when nothing goes on.
import {find} from './dom.js';
import {setToken} from './service.js';

let timer = 0;

// Says it to a screen reader when the person has paused: typing and pointing must not be talked over.
export function say(text) {
  clearTimeout(timer);
  timer = setTimeout(() => { find('status').textContent = text; }, 700);
}

let retry = null;

// Shows a failure that is not the input's fault. `again` is what the button does.
export function showFailure(problem, again) {
  retry = again;
  find('notice-title').textContent = problem.title;
  find('notice-detail').textContent = problem.detail;
  find('token-form').hidden = problem.status !== 401;
  find('notice-retry').hidden = problem.status === 401;
  find('notice').hidden = false;
}

export function clearFailure() {
  find('notice').hidden = true;
}

export function startStatus() {
  find('notice-retry').addEventListener('click', () => retry?.());
  find('token-form').addEventListener('submit', (event) => {
    event.preventDefault();
    setToken(find('token').value);
    find('token').value = '';
    retry?.();
  });
}
