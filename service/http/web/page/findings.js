// SPDX-License-Identifier: MIT
// What is to be said of a description, with its place in the text: from the service's refusal or from its report.
//
// A finding is {from, to, severity ('error', 'warning' or 'missing'), message, fix}; a fix is {from, to, text, label}.
import {characterPlaces, nodeAt, readPlaces, tokenAt} from './json_places.js';
import {numberText, plural} from './dom.js';

// The offset of a line and column, both from 1. Columns count characters, and one beyond U+FFFF is two units here.
export function offsetOf(text, line, column) {
  let at = 0;
  for (let i = 1; i < line; ++i) {
    const end = text.indexOf('\n', at);
    if (end < 0) return text.length;
    at = end + 1;
  }
  for (let i = 1; i < column && at < text.length && text[at] !== '\n'; ++i) at += text.codePointAt(at) > 0xffff ? 2 : 1;
  return at;
}

const finding = ([from, to], severity, message, fix = null) => ({from, to, severity, message, fix});

// Of a Problem. One without a place is about the whole text, and shown at its first character.
export function findingOfProblem(text, problem) {
  const offset = problem.line ? offsetOf(text, problem.line, problem.column ?? 1) : 0;
  // Behind the last character there is nothing to be marked.
  return finding(tokenAt(text, Math.min(offset, Math.max(text.trimEnd().length - 1, 0))), 'error', problem.detail);
}

function ofWarning(text, warning) {
  const place = tokenAt(text, offsetOf(text, warning.line ?? 1, warning.column ?? 1));
  const fix = warning.nearest && text[place[0]] === '"'
    ? {from: place[0], to: place[1], text: JSON.stringify(warning.nearest), label: `Change to ${warning.nearest}`} : null;
  return finding(place, 'warning', warning.message, fix);
}

function* ofMissing(root, line) {
  const content = nodeAt(root, `${line.pointer ?? ''}/Content`);
  if (content?.kind !== 'string') return;
  const places = characterPlaces(content);
  for (const missing of line.missing ?? []) {
    for (const position of missing.positions ?? []) {
      if (places[position]) {
        yield finding(places[position], 'missing', `No font has ${missing.character} ${missing.name ?? ''}`.trimEnd());
      }
    }
  }
}

function* ofFont(root, line) {
  const name = nodeAt(root, `${line.pointer ?? ''}/Font/FontName`);
  if (!name || !line.font?.named || !line.font.substituted) return;
  yield finding([name.from, name.to], 'note',
    `${line.font.wanted} is not installed; ${line.font.family} stands in for it`);
}

// Ink outside the page. "clipped" has how far it reaches beyond which edges.
function* ofClipped(root, line) {
  const edges = ['left', 'top', 'right', 'bottom'].filter((edge) => line.clipped?.[edge] > 0);
  if (edges.length === 0) return;
  const node = nodeAt(root, `${line.pointer ?? ''}/Content`) ?? nodeAt(root, line.pointer ?? '');
  const beyond = edges.map((edge) => `${numberText(line.clipped[edge], 3)} units beyond the ${edge} edge`).join(', ');
  if (node) yield finding([node.from, node.to], 'warning', `Outside the page: ${beyond}`);
}

// Of the answer of /v1/describe.
export function findingsOfReport(text, report) {
  const root = readPlaces(text);
  const found = [];
  for (const line of report.lines) {
    found.push(...(line.warnings ?? []).map((warning) => ofWarning(text, warning)));
    if (line.drawable === false) {
      const node = nodeAt(root, line.pointer ?? '') ?? {from: 0};
      found.push(finding(tokenAt(text, node.from), 'error', `This line is not drawn: ${line.reason}`));
    }
    found.push(...ofFont(root, line), ...ofClipped(root, line), ...ofMissing(root, line));
  }
  return found.sort((a, b) => a.from - b.from);
}

export function summaryOf(findings) {
  const count = (severity) => findings.filter((one) => one.severity === severity).length;
  const parts = [[count('error'), 'error'], [count('warning'), 'warning'], [count('missing'), 'missing character'],
    [count('note'), 'substituted font']];
  return parts.filter(([number]) => number > 0).map(([number, word]) => plural(number, word)).join(', ');
}
