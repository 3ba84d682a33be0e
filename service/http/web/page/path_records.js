// SPDX-License-Identifier: MIT
// Where the records of a path stand in its text. A record number of a hit leads to the command that made it.
//
// A command makes as many records as it has points: M, L, H and V one, Q and T two, C and S three; an arc has four. What
// follows a Z without a move begins with a record of the move back to the subpath's start.

const kNumbers = {M: 2, L: 2, H: 1, V: 1, Q: 4, T: 2, C: 6, S: 4, A: 7};
const kRecords = {M: 1, L: 1, H: 1, V: 1, Q: 2, T: 2, C: 3, S: 3, A: 4};

// A number, or in an arc one of the two flags, which may stand without anything between them.
function skipNumber(text, at, isFlag) {
  const number = isFlag ? /[\s,]*([01])/y : /[\s,]*([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?)/y;
  number.lastIndex = at;
  const match = number.exec(text);
  return match && {from: number.lastIndex - match[1].length, to: number.lastIndex, value: Number(match[1])};
}

// The ranges [from, to] of the text, one for each record; the records of a command share its range. `closings` has
// those of each Z by the record that it follows. Reads as far as it understands the text.
export function recordPlaces(text) {
  const records = [];
  const closings = new Map();
  let at = 0;
  let closed = false;
  for (;;) {
    const letter = /[\s,]*([a-zA-Z])/y;
    letter.lastIndex = at;
    const match = letter.exec(text);
    if (!match) return {records, closings};
    let command = match[1].toUpperCase();
    let from = letter.lastIndex - 1;
    at = letter.lastIndex;
    if (command === 'Z') {
      closed = true;
      closings.set(records.length - 1, [from, at]);
      continue;
    }
    for (let isFirst = true; ; isFirst = false) {
      const numbers = [];
      for (let i = 0; i < (kNumbers[command] ?? 0); ++i) {
        const number = skipNumber(text, numbers.at(-1)?.to ?? at, command === 'A' && (i === 3 || i === 4));
        if (!number) break;
        numbers.push(number);
      }
      if (numbers.length === 0 || numbers.length < kNumbers[command]) {
        if (isFirst) return {records, closings};
        break;
      }
      if (!isFirst) from = numbers[0].from;
      at = numbers.at(-1).to;
      // An arc without a radius is a line.
      const isLine = command === 'A' && (numbers[0].value === 0 || numbers[1].value === 0);
      const count = (isLine ? 1 : kRecords[command]) + (closed && command !== 'M' ? 1 : 0);
      for (let i = 0; i < count; ++i) records.push([from, at]);
      closed = false;
      if (command === 'M') command = 'L';
    }
  }
}
