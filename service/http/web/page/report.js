// SPDX-License-Identifier: MIT
// The report of a description, as a person reads it: each line's text with its runs and missing characters marked, and
// a table of the runs.
import {element, numberText, plural} from './dom.js';

const kMostLines = 20;
const kMostRuns = 50;

const kScripts = {
  Arab: 'Arabic', Hans: 'Han', Hani: 'Han', Hebr: 'Hebrew', Latn: 'Latin', Cyrl: 'Cyrillic', Grek: 'Greek',
  Zyyy: 'Common', Zinh: 'Inherited', Zzzz: 'Unknown', Hira: 'Hiragana', Kana: 'Katakana', Hang: 'Hangul',
  Deva: 'Devanagari', Thai: 'Thai', Hung: 'Old Hungarian', Zsye: 'Emoji',
};

// The characters of a run; missing ones stand out, with their names.
function runText(run, missing) {
  const parts = [];
  let plain = '';
  [...run.text].forEach((character, at) => {
    const name = missing.get(run.first + at);
    if (name === undefined) {
      plain += character;
      return;
    }
    if (plain) parts.push(plain);
    plain = '';
    parts.push(element('mark', {class: 'missing', title: name}, character, element('span', {class: 'visually-hidden'}, ` (${name}, missing)`)));
  });
  if (plain) parts.push(plain);
  return parts;
}

function ribbon(line) {
  const missing = new Map();
  for (const one of line.missing ?? []) {
    for (const position of one.positions ?? []) missing.set(position, `${one.character} ${one.name ?? ''}`.trim());
  }
  // Runs come from left to right; the text is read in its own order.
  const runs = [...(line.runs ?? [])].sort((a, b) => a.first - b.first);
  return element('p', {class: 'ribbon', dir: 'auto'}, ...runs.map((run, at) =>
    element('span', {class: `run tone-${at % 4}`, title: `${run.family} ${run.style ?? ''}`.trim()}, ...runText(run, missing))));
}

function runTable(line, number) {
  const head = ['Text', 'Script', 'Font', 'Stands in for'].map((name) => element('th', {scope: 'col'}, name));
  const rows = (line.runs ?? []).slice(0, kMostRuns).map((run) => element('tr', {},
    element('td', {class: 'sample', dir: 'auto'}, run.text),
    element('td', {}, `${kScripts[run.script] ?? run.script}${run.direction === 'rtl' ? ', right to left' : ''}`),
    element('td', {}, run.family, run.style && run.style !== 'Regular' ? element('span', {class: 'soft'}, ` ${run.style}`) : null),
    element('td', {class: run.standsInFor ? 'substitute' : 'soft'}, run.standsInFor ?? '–')));
  return element('div', {class: 'table-frame', tabindex: '0', role: 'region', 'aria-label': `Runs of line ${number}`},
    element('table', {class: 'runs'},
      element('thead', {class: number > 1 ? 'visually-hidden' : ''}, element('tr', {}, ...head)), element('tbody', {}, ...rows)));
}

function missingList(line) {
  if (!line.missing?.length) return null;
  return element('p', {class: 'missing-note'}, 'No font here has ',
    ...line.missing.slice(0, 12).flatMap((one, at) => [at ? ', ' : '', element('span', {class: 'code'}, one.character),
      ` ${(one.name ?? '').toLowerCase()}`]), line.missing.length > 12 ? ' and more.' : '.');
}

function lineSection(line, at, count) {
  const font = line.font ?? {};
  const facts = line.drawable === false ? line.reason
    : [`${font.family ?? ''} ${font.size ?? ''} pt`, font.bold && 'bold', font.italic && 'italic', line.color,
      line.ink && `${numberText(line.ink.right - line.ink.left)} × ${numberText(line.ink.bottom - line.ink.top)} units of ink`]
      .filter(Boolean).join(' · ');
  const heading = element('h3', {}, count > 1 ? `Line ${at + 1}` : 'The line', element('span', {class: 'soft'}, ` ${facts}`));
  if (line.drawable === false) return element('article', {class: 'line-report'}, heading);
  // A row of the table says it all of a line in one font without gaps.
  const hasParts = line.runs?.length > 1 || line.missing?.length > 0;
  return element('article', {class: 'line-report'}, heading, hasParts ? ribbon(line) : null, missingList(line),
    runTable(line, at + 1));
}

export function summaryOfReport(report) {
  const lines = report.lines;
  const sum = (count) => lines.reduce((total, line) => total + count(line), 0);
  const fonts = new Set(lines.flatMap((line) => (line.runs ?? []).map((run) => run.family)));
  const substituted = new Set(lines.flatMap((line) => (line.runs ?? []).map((run) => run.standsInFor).filter(Boolean)));
  return [
    plural(lines.length + (report.moreLines ?? 0), 'line'),
    plural(sum((line) => line.runCount ?? 0), 'run'),
    plural(fonts.size, 'font'),
    substituted.size ? `${substituted.size} substituted` : null,
    sum((line) => line.missingCount ?? 0) ? `${sum((line) => line.missingCount ?? 0)} missing` : null,
  ].filter(Boolean).join(' · ');
}

export function showReport(place, report) {
  const shown = report.lines.slice(0, kMostLines);
  const rest = report.lines.length + (report.moreLines ?? 0) - shown.length;
  place.replaceChildren(
    ...shown.map((line, at) => lineSection(line, at, report.lines.length)),
    ...(rest > 0 ? [element('p', {class: 'soft'}, `and ${plural(rest, 'more line')}`)] : []));
}
