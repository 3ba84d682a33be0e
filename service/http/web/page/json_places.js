// SPDX-License-Identifier: MIT
// Where things stand in a JSON text. JSON.parse tells values but no places; this reads as far as the text makes sense,
// so that an editor can be served while somebody types.
//
// A node is {kind, from, to}: offsets of its first character and behind its last one. Objects have `members`, each
// {key, from, to, node} with the place of the key; arrays have `elements`; strings, numbers and names have their `text`.

const kDeepest = 200;

class Reader {
  constructor(text) {
    this.text = text;
    this.at = 0;
  }

  space() {
    while (/\s/.test(this.text[this.at] ?? '')) ++this.at;
  }

  // True when the next character is this one, which is then taken.
  take(character) {
    this.space();
    if (this.text[this.at] !== character) return false;
    ++this.at;
    return true;
  }

  value(depth) {
    this.space();
    const from = this.at;
    const next = this.text[from];
    if (depth > kDeepest || next === undefined) return null;
    if (next === '"') return this.string();
    if (next === '{') return this.container(depth, 'object', '}');
    if (next === '[') return this.container(depth, 'array', ']');
    const word = /[-+.\w]*/y;
    word.lastIndex = from;
    const text = word.exec(this.text)[0];
    if (text === '') return null;
    this.at = from + text.length;
    return {kind: 'scalar', from, to: this.at, text};
  }

  // A string ends with its line at the latest: the rest of the text is then not swallowed.
  string() {
    const from = this.at++;
    while (this.at < this.text.length && this.text[this.at] !== '"' && this.text[this.at] !== '\n') {
      this.at += this.text[this.at] === '\\' ? 2 : 1;
    }
    this.at = Math.min(this.at, this.text.length);
    if (this.text[this.at] === '"') ++this.at;
    return {kind: 'string', from, to: this.at, text: this.text.slice(from, this.at)};
  }

  container(depth, kind, end) {
    const node = {kind, from: this.at++, to: 0, members: [], elements: []};
    while (!this.take(end)) {
      const before = this.at;
      if (kind === 'object') this.member(node, depth);
      else {
        const element = this.value(depth + 1);
        if (element) node.elements.push(element);
      }
      this.take(',');
      if (this.at === before) break;  // nothing that could stand here
    }
    node.to = this.at;
    return node;
  }

  member(node, depth) {
    this.space();
    if (this.text[this.at] !== '"') return;
    const key = this.string();
    const member = {key: stringOf(key), from: key.from, to: key.to, node: null};
    node.members.push(member);
    if (this.take(':')) member.node = this.value(depth + 1);
  }
}

export const readPlaces = (text) => new Reader(text).value(0);

// The text that a string's literal stands for; as it is written, where it is broken.
export function stringOf(node) {
  try {
    return JSON.parse(node.text);
  } catch {
    return node.text.slice(1);
  }
}

// The node that a JSON pointer (RFC 6901) names, or null.
export function nodeAt(root, pointer) {
  let node = root;
  for (const step of pointer.split('/').slice(1)) {
    const name = step.replaceAll('~1', '/').replaceAll('~0', '~');
    if (node?.kind === 'array') node = node.elements[Number(name)];
    else if (node?.kind === 'object') node = node.members.findLast((member) => member.key === name)?.node;
    else return null;
  }
  return node ?? null;
}

// The places of the characters (code points) of a string, in the text: [from, to] for each.
export function characterPlaces(node) {
  const places = [];
  const one = /\\u[dD][89abAB][0-9a-fA-F]{2}\\u[dD][c-fC-F][0-9a-fA-F]{2}|\\u[0-9a-fA-F]{4}|\\[^]|[^"\\]/uy;
  one.lastIndex = 1;
  for (let match = one.exec(node.text); match; match = one.exec(node.text)) {
    places.push([node.from + match.index, node.from + match.index + match[0].length]);
  }
  return places;
}

// The place of the token at an offset: a whole string, number, name, or one character.
export function tokenAt(text, offset) {
  const reader = new Reader(text);
  reader.at = offset;
  const node = text[offset] === '"' ? reader.string() : /[-+.\w]/.test(text[offset] ?? '') ? reader.value(0) : null;
  return node ? [node.from, node.to] : [offset, Math.min(offset + 1, text.length)];
}
