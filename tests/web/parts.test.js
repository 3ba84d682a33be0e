// SPDX-License-Identifier: MIT
// The parts of the page that need no browser.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {test} from 'node:test';
import {pack, unpack} from '../../service/http/web/page/address.js';
import {completionsAt} from '../../service/http/web/page/completions.js';
import {bytesText} from '../../service/http/web/page/dom.js';
import {findingOfProblem, findingsOfReport, offsetOf} from '../../service/http/web/page/findings.js';
import {characterPlaces, nodeAt, readPlaces, tokenAt} from '../../service/http/web/page/json_places.js';
import {latest, oneAtATime} from '../../service/http/web/page/latest.js';
import {recordPlaces} from '../../service/http/web/page/path_records.js';

const schema = JSON.parse(readFileSync(new URL('../../share/tovkit/line.schema.json', import.meta.url), 'utf8'));
const slice = (text, [from, to]) => text.slice(from, to);

test('the place of every value of a text is found by its pointer', () => {
  const text = ' [ {"a": [1, -2.5e3, "x\\"y"], "b/c": {"~": true}}, null ]';
  const root = readPlaces(text);
  const at = (pointer) => { const node = nodeAt(root, pointer); return node && text.slice(node.from, node.to); };
  assert.equal(at('/0/a/1'), '-2.5e3');
  assert.equal(at('/0/a/2'), '"x\\"y"');
  assert.equal(at('/0/b~1c/~0'), 'true');
  assert.equal(at('/1'), 'null');
  assert.equal(at(''), text.trim());
  for (const pointer of ['/2', '/0/z', '/1/a', '/0/a/x']) assert.equal(at(pointer), null, pointer);
});

test('of two members with one name a pointer names the last', () => {
  const text = '{"a": 1, "a": 2}';
  assert.equal(nodeAt(readPlaces(text), '/a').text, '2');
});

test('a text that ends early or makes no sense is read as far as it goes', () => {
  const whole = '{"a": [1, {"b": "c\\u0041"}], "d": tru}';
  for (let end = 0; end <= whole.length; ++end) readPlaces(whole.slice(0, end));
  for (const text of ['', '}', '[,,]', '{"a" "b"}', '{1: 2}', '"abc\n"', '['.repeat(100000), '\\', '"\\']) readPlaces(text);
  assert.equal(nodeAt(readPlaces('{"a": "open\n, "b": 2}'), '/b').text, '2');
  assert.equal(nodeAt(readPlaces('{"a": 1, "b": 2'), '/b').text, '2');
});

test('characters of a string are found behind escapes and beyond U+FFFF', () => {
  const text = '  "a\\u0042\\ud83d\\ude00😀\\n\\\\z"';
  const places = characterPlaces(readPlaces(text));
  assert.deepEqual(places.map((place) => slice(text, place)),
    ['a', '\\u0042', '\\ud83d\\ude00', '😀', '\\n', '\\\\', 'z']);
});

test('a token is a whole string, number or name', () => {
  const text = '{"key": -12.5, true}';
  for (const [offset, token] of [[1, '"key"'], [8, '-12.5'], [15, 'true'], [0, '{'], [6, ':']]) {
    assert.equal(slice(text, tokenAt(text, offset)), token);
  }
});

test('lines and columns count characters', () => {
  const text = 'ab\n😀x\n';
  assert.equal(offsetOf(text, 1, 1), 0);
  assert.equal(offsetOf(text, 2, 2), text.indexOf('x'));
  assert.equal(offsetOf(text, 2, 99), text.indexOf('\n', 4));
  assert.equal(offsetOf(text, 9, 1), text.length);
});

test('an error at the end of a text marks its last character', () => {
  for (const text of ['{"a": ', '', '{\n\n']) {
    const {from, to} = findingOfProblem(text, {line: 9, column: 9, detail: 'ends'});
    assert.ok(from <= to && to <= text.length && from >= 0, JSON.stringify([text, from, to]));
  }
});

test('a report becomes findings where things stand', () => {
  const text = '[{"Content": "a\\u0301😀b", "Font": {"FontName": "Nowhere", "FontNmae": 1}}]';
  const findings = findingsOfReport(text, {lines: [{
    pointer: '/0', font: {named: true, substituted: true, wanted: 'Nowhere', family: 'Here'},
    missing: [{character: 'U+1F600', name: 'GRINNING FACE', positions: [2]}],
    warnings: [{line: 1, column: text.indexOf('"FontNmae"'), message: 'unknown', nearest: 'FontName'}],
  }]});
  const of = (severity) => findings.find((one) => one.severity === severity);
  assert.equal(slice(text, [of('missing').from, of('missing').to]), '😀');
  assert.equal(slice(text, [of('note').from, of('note').to]), '"Nowhere"');
  const {fix, from, to} = of('warning');
  assert.equal(slice(text, [from, to]), '"FontNmae"');
  assert.deepEqual([fix.from, fix.to, fix.text], [from, to, '"FontName"']);
});

const completed = (marked, suggestions) => {
  const offset = marked.indexOf('|');
  return completionsAt(marked.replace('|', ''), offset, schema, suggestions).list.map(({label}) => label);
};

test('keys are offered where keys stand, those that are there already are not', () => {
  assert.deepEqual(completed('{|'), ['Content', 'DeltaX', 'DeltaY', 'Font']);
  assert.deepEqual(completed('[{"Content": "x", |}]'), ['DeltaX', 'DeltaY', 'Font']);
  assert.deepEqual(completed('[[{"Content": "a, \\"{", "De|": 1}]]'), ['DeltaX', 'DeltaY']);
  assert.deepEqual(completed('{"Font": {"fo|'), ['FontSize', 'FontName']);
  assert.deepEqual(completed('{"Font": {"Bold": true, "Italic": false}, "|'), ['Content', 'DeltaX', 'DeltaY']);
  assert.deepEqual(completed('{"Nothing": {"|'), []);
});

test('values are offered where values stand', () => {
  assert.deepEqual(completed('{"Font": {"Bold": |'), ['true', 'false']);
  assert.deepEqual(completed('{"Font": {"Bold": t|'), ['true']);
  assert.deepEqual(completed('{"Font": |'), ['{}']);
  assert.deepEqual(completed('{"Font": {"FontName": "A|"}}', {FontName: ['Arial', 'Courier']}), ['"Arial"']);
  assert.deepEqual(completed('{"DeltaX": |}'), ['0']);
});

test('records of a path stand where their commands do', () => {
  const text = 'M 0 0 L1-2.5.5 3 Q 1 1 2 2 C 1 1 2 2 3 3 a5 5 0 01.5.5 z l 1 1 m 2 2 3 3';
  const {records, closings} = recordPlaces(text);
  assert.deepEqual(records.map((place) => slice(text, place)), [
    'M 0 0', 'L1-2.5', '.5 3', 'Q 1 1 2 2', 'Q 1 1 2 2', 'C 1 1 2 2 3 3', 'C 1 1 2 2 3 3', 'C 1 1 2 2 3 3',
    ...Array(4).fill('a5 5 0 01.5.5'), 'l 1 1', 'l 1 1', 'm 2 2', '3 3']);
  assert.equal(slice(text, closings.get(11)), 'z');
  assert.deepEqual(recordPlaces('M 0 0 A 0 5 0 0 0 1 1').records.length, 2);
  for (const broken of ['', 'M', 'M 1', 'x', 'M 0 0 L 1 1 ?', 'Z', 'A 1 1 0 5 0 1 1']) recordPlaces(broken);
});

test('a text goes into an address and comes back', async () => {
  for (const text of ['', 'Hello, 世界 😀', 'x'.repeat(100000)]) assert.equal(await unpack(await pack(text)), text);
  assert.match(await pack('~?>Hello'.repeat(50)), /^[-\w]+$/);
});

test('a damaged address has no text', async () => {
  const whole = await pack('{"Content": "Hello"}');
  for (const broken of ['%', '!!', 'AAAA', whole.slice(0, -3), `x${whole}`, '世界']) assert.equal(await unpack(broken), null, broken);
  assert.equal(await unpack(await pack('x'.repeat(2 ** 21))), null, 'too long');
});

test('the latest request runs, those before it are dropped or aborted', async () => {
  const ran = [];
  let finish = null;
  const schedule = latest(1, (signal, value) => { ran.push([value, signal]); finish?.(); });
  schedule('a');
  schedule('b');
  await new Promise((resolve) => { finish = resolve; });
  schedule('c');
  assert.equal(ran[0][0], 'b');
  assert.ok(ran[0][1].aborted);
  await new Promise((resolve) => { finish = resolve; });
  assert.deepEqual(ran.map(([value]) => value), ['b', 'c']);
});

test('one at a time runs the newest of those that wait', async () => {
  const ran = [];
  const releases = [];
  const run = oneAtATime((value) => { ran.push(value); return new Promise((resolve) => releases.push(resolve)); });
  const first = run(1);
  run(2);
  run(3);
  releases.shift()();
  await new Promise(setImmediate);
  assert.deepEqual(ran, [1, 3]);
  releases.shift()();
  await first;
});

test('sizes are short', () => {
  for (const [count, text] of [[0, '0 bytes'], [999, '999 bytes'], [1000, '1.0 kB'], [9949, '9.9 kB'], [12345, '12 kB'],
    [999600, '1.0 MB'], [5e9, '5.0 GB']]) assert.equal(bytesText(count), text);
});
