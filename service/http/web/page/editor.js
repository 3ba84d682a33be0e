// SPDX-License-Identifier: MIT
// An editor with findings marked where they are, in the text, beside the line and in a list below.
import {element, find} from './dom.js';

const kNames = {error: 'Error', warning: 'Warning', missing: 'Missing', note: 'Note'};

export class Editor {
  // `options` are CodeMirror's; `complete(text, offset)` returns candidates (see completions.js).
  constructor(place, {value, label, changed, complete = null, problems, ...options}) {
    this.problems = problems;
    this.findings = [];
    this.complete = complete;
    this.cm = globalThis.CodeMirror(place, {
      value, lineWrapping: true, screenReaderLabel: label, matchBrackets: true, autoCloseBrackets: true, tabSize: 2,
      gutters: ['CodeMirror-lint-markers'], lineNumbers: true, viewportMargin: 50, ...options,
      lint: {getAnnotations: () => this.annotations(), lintOnChange: false, highlightLines: true, selfContain: true},
    });
    this.setKeys(false);
    this.cm.on('blur', () => this.setKeys(false));
    this.cm.on('change', (_, change) => {
      changed(change.origin === 'setValue');
      if (complete && change.origin === '+input' && /^[\w"]$/.test(change.text.join(''))) this.hint(false);
    });
    // A region that scrolls must be reachable; its text is, by the editor's own field.
    this.cm.getScrollerElement().removeAttribute('tabindex');
  }

  get text() { return this.cm.getValue(); }
  set text(text) { if (text !== this.text) this.cm.setValue(text); }

  refresh() { this.cm.refresh(); }

  // Tab indents, as in other editors of code; after Esc it leaves, as everywhere else on the page.
  setKeys(leaving) {
    const keys = {
      Tab: leaving ? false : 'insertSoftTab', 'Shift-Tab': leaving ? false : 'indentLess', Esc: () => this.setKeys(true),
    };
    if (this.complete) keys['Ctrl-Space'] = () => this.hint(true);
    this.cm.setOption('extraKeys', keys);
  }

  hint(alone) {
    this.cm.showHint({
      completeSingle: alone, closeCharacters: /[\s,:{}[\]]/, hint: () => this.hints(), container: find('main'),
    });
  }

  hints() {
    const cm = this.cm;
    const offset = cm.indexFromPos(cm.getCursor());
    const {from, list} = this.complete(this.text, offset);
    const rest = this.text.slice(offset).match(/^[\w#]*"?/)[0].length;
    const data = {
      from: cm.posFromIndex(from),
      to: cm.posFromIndex(this.text[from] === '"' ? offset + rest : offset),
      list: list.map(({text, back, label, note}) => ({
        displayText: label,
        text,
        render: (item) => item.append(element('span', {class: 'hint-label'}, label), element('span', {class: 'hint-note'}, note)),
        hint: () => {
          // A key that has its colon already gets no other.
          const colon = text.includes('": ') && /^\s*:/.test(this.text.slice(cm.indexFromPos(data.to)));
          cm.replaceRange(colon ? text.slice(0, text.indexOf('": ') + 1) : text, data.from, data.to);
          if (back && !colon) cm.moveH(-back, 'char');
        },
      })),
    };
    // A list has to have a name, and one that scrolls a way in; the keys go to the editor all the same.
    globalThis.CodeMirror.on(data, 'shown', () => {
      const {hints} = cm.state.completionActive.widget;
      hints.setAttribute('aria-label', 'Completions');
      hints.tabIndex = 0;
    });
    return data;
  }

  annotations() {
    return this.findings.map(({from, to, severity, message}) => ({
      from: this.cm.posFromIndex(from), to: this.cm.posFromIndex(to), severity, message,
    }));
  }

  show(findings) {
    this.findings = findings;
    this.cm.performLint();
    this.problems.replaceChildren(...(findings.length ? [this.list(findings)] : []));
  }

  list(findings) {
    const most = 20;
    const items = findings.slice(0, most).map((one) => {
      const {line, ch} = this.cm.posFromIndex(one.from);
      return element('li', {class: `problem ${one.severity}`},
        element('button', {type: 'button', class: 'problem-place', onclick: () => this.select(one)},
          element('span', {class: 'problem-kind'}, kNames[one.severity]),
          element('span', {class: 'problem-at'}, `${line + 1}:${ch + 1}`),
          element('span', {class: 'problem-text'}, one.message)),
        one.fix && element('button', {type: 'button', class: 'quiet', onclick: () => this.apply(one.fix)}, one.fix.label));
    });
    if (findings.length > most) items.push(element('li', {class: 'problem-rest'}, `and ${findings.length - most} more`));
    return element('ol', {}, ...items);
  }

  select({from, to}) {
    this.cm.setSelection(this.cm.posFromIndex(from), this.cm.posFromIndex(to));
    this.cm.focus();
  }

  apply({from, to, text}) {
    this.cm.replaceRange(text, this.cm.posFromIndex(from), this.cm.posFromIndex(to));
    this.cm.focus();
  }

  // Colors a range until the next call; null for none.
  point(range) {
    this.pointed?.clear();
    this.pointed = range && this.cm.markText(this.cm.posFromIndex(range[0]), this.cm.posFromIndex(range[1]),
      {className: 'pointed'});
  }
}
