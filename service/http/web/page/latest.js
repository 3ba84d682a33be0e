// SPDX-License-Identifier: MIT
// Work that is asked for again and again: the last request wins.

// Returns a function that runs work(signal, ...arguments) once nothing was asked for `delay` milliseconds. A run that a
// newer request has overtaken is aborted, and its result is nobody's.
export function latest(delay, work) {
  let timer = 0;
  let running = null;
  return (...values) => {
    clearTimeout(timer);
    running?.abort();
    timer = setTimeout(() => {
      const controller = new AbortController();
      running = controller;
      work(controller.signal, ...values);
    }, delay);
  };
}

// Returns a function that runs work(...arguments) at once, or after the present run; of requests that wait only the
// newest is kept. For a moving pointer: what runs is finished, so there is always an answer.
export function oneAtATime(work) {
  let waiting = null;
  let busy = false;
  return async (...values) => {
    waiting = values;
    if (busy) return;
    busy = true;
    try {
      while (waiting) {
        const now = waiting;
        waiting = null;
        await work(...now);
      }
    } finally {
      busy = false;
    }
  };
}
