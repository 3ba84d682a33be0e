// SPDX-License-Identifier: MIT
// tovkit serve on a free port of loopback, started and stopped by a test.
import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {createInterface} from 'node:readline';

// `stop` ends it and waits for it.
export async function startService(...options) {
  const child = spawn(process.env.TOVKIT_COMMAND, ['serve', ...(options.includes('--listen') ? [] : ['--listen', '127.0.0.1:0']), '--log', 'none', ...options],
    {stdio: ['ignore', 'pipe', 'inherit']});
  const ended = once(child, 'exit');
  const first = await Promise.race([once(createInterface(child.stdout), 'line'), ended.then(() => [])]);
  const address = /http:\/\/\S+/.exec(first[0])?.[0];
  if (!address) throw new Error(`tovkit serve did not start: ${first[0]}`);
  return {
    address,
    async stop() {
      if (child.exitCode === null && child.signalCode === null) child.kill('SIGTERM');
      await ended;
    },
  };
}
