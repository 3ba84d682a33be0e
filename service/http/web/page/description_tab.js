// SPDX-License-Identifier: MIT
// The tab of text: a description that is drawn as one types, and the report of it.
import {pack, unpack} from './address.js';
import {completionsAt} from './completions.js';
import {bytesText, find, plural, save, showBlob} from './dom.js';
import {Editor} from './editor.js';
import {fillExamples, kDescriptions} from './examples.js';
import {findingOfProblem, findingsOfReport, summaryOf} from './findings.js';
import {formatNamed, kFormats} from './formats.js';
import {readPlaces} from './json_places.js';
import {latest} from './latest.js';
import {showReport, summaryOfReport} from './report.js';
import {describe, draw} from './service.js';
import {say} from './status.js';

const kTypingPause = 180;  // milliseconds

export class DescriptionTab {
  // `guard` runs work and tells what is not the input's fault; `changed` is called when the address is to be written.
  constructor({schema, guard, changed}) {
    this.schema = schema;
    this.guard = guard;
    this.changed = changed;
    this.page = 0;
    this.families = [];
    this.editor = new Editor(find('text-editor'), {
      value: kDescriptions.Hello, mode: {name: 'javascript', json: true}, label: 'Description, JSON',
      problems: find('text-problems'), complete: (text, offset) => this.complete(text, offset),
      changed: () => this.update(),
    });
    this.schedule = latest(kTypingPause, (signal) => this.guard(() => this.run(signal), () => this.update()));
    this.prepareControls();
  }

  get format() { return formatNamed(find('text-format').value); }

  prepareControls() {
    find('text-format').append(...kFormats.map((one) => new Option(one.label, one.name)));
    fillExamples(find('text-example'), kDescriptions, (text) => {
      this.page = 0;
      this.editor.text = text;
    });
    find('text-tidy').addEventListener('click', () => this.tidy());
    for (const name of ['size', 'dpi', 'background', 'color', 'format']) {
      find(`text-${name}`).addEventListener('input', () => this.update());
    }
    find('text-controls').addEventListener('submit', (event) => {
      event.preventDefault();
      this.guard(() => this.download(), () => this.download());
    });
    find('text-previous').addEventListener('click', () => this.turn(-1));
    find('text-next').addEventListener('click', () => this.turn(1));
  }

  complete(text, offset) {
    return completionsAt(text, offset, this.schema, {
      FontName: [...new Set([...this.families, 'Arial', 'Times New Roman', 'Courier New'])],
      Color: ['#1F4E79', '#C0392B', '#2E7D32'], FontSize: [12, 18, 36, 72],
    });
  }

  tidy() {
    try {
      this.editor.text = JSON.stringify(JSON.parse(this.editor.text), null, 2);
      say('Tidied up');
    } catch {
      say('It is not JSON yet; the problems below say where');
    }
  }

  turn(by) {
    this.page += by;
    this.update();
  }

  query(format) {
    const background = find('text-background').value;
    return [['format', format], ['size', find('text-size').value.trim()], ['dpi', find('text-dpi').value],
      ['background', background === 'color' ? find('text-color').value : background]];
  }

  // The pages of the text: one, unless it is an array of arrays.
  pagesOf(text) {
    const root = readPlaces(text);
    const pages = root?.kind === 'array' && root.elements.length > 0 &&
      root.elements.every((element) => element.kind === 'array') ? root.elements : [];
    this.page = Math.max(0, Math.min(this.page, pages.length - 1));
    return pages.map(({from, to}) => text.slice(from, to));
  }

  update() {
    this.changed();
    find('text-color').disabled = find('text-background').value !== 'color';
    find('text-sheet').classList.add('stale');
    this.schedule();
  }

  async run(signal) {
    const text = this.editor.text;
    if (text.trim() === '') return this.showNothing();
    const pages = this.pagesOf(text);
    const format = this.format;
    const shown = format.shown ? format : formatNamed('png');
    const started = performance.now();
    try {
      const [report, picture] = await Promise.all([
        describe(text, [['size', find('text-size').value.trim()]], signal),
        draw(pages[this.page] ?? text, this.query(shown.name), signal),
      ]);
      await showBlob(find('text-picture'), picture);
      if (!signal.aborted) this.showResult({text, report, picture, format, shown, pages, time: performance.now() - started});
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      this.showProblem(text, problem);
    }
    return undefined;
  }

  showResult({text, report, picture, format, shown, pages, time}) {
    this.families = report.lines.flatMap((line) => (line.runs ?? []).map((run) => run.family));
    const image = find('text-picture');
    const scale = shown.document ? 1 : 96 / (Number(find('text-dpi').value) || 96);
    image.width = Math.max(1, Math.round(image.naturalWidth * scale));
    image.alt = `Drawn: ${report.lines.map((line) => line.content ?? '').join('; ').slice(0, 200)}`;
    find('text-empty').hidden = true;
    find('text-sheet').classList.remove('stale');
    const unit = shown.document ? '' : ' px';
    find('text-caption').textContent = [`${image.naturalWidth} × ${image.naturalHeight}${unit}`,
      shown === format ? `${bytesText(picture.size)} of ${format.label}` : `shown as PNG; ${format.label} on download`,
      `${Math.round(time)} ms`].join(' · ');
    find('text-pages').hidden = pages.length < 2;
    find('text-page-label').textContent = `Page ${this.page + 1} of ${pages.length}`;
    find('text-previous').disabled = this.page === 0;
    find('text-next').disabled = this.page >= pages.length - 1;
    for (const name of ['size', 'dpi', 'background']) find(`text-${name}`).removeAttribute('aria-invalid');
    const findings = findingsOfReport(text, report);
    this.editor.show(findings);
    find('report-summary').textContent = summaryOfReport(report);
    showReport(find('report-body'), report);
    say(`Drawn, ${plural(report.lines.length, 'line')}. ${summaryOf(findings) || 'No problems'}.`);
  }

  showProblem(text, problem) {
    const control = problem.parameter && find(`text-${problem.parameter}`);
    if (control) control.setAttribute('aria-invalid', 'true');
    find('text-caption').textContent = control ? problem.detail : 'Waiting for a description without errors.';
    this.editor.show(control ? [] : [findingOfProblem(text, problem)]);
    say(`Not drawn: ${problem.detail}`);
  }

  showNothing() {
    find('text-picture').hidden = true;
    find('text-empty').hidden = false;
    find('text-caption').textContent = 'Nothing to draw: choose an example, or type {"Content": "Hello"}.';
    find('report-summary').textContent = '';
    find('report-body').replaceChildren();
    find('text-pages').hidden = true;
    this.editor.show([]);
  }

  async download() {
    const text = this.editor.text;
    const pages = this.pagesOf(text);
    const {name, extension, pages: holdsPages} = this.format;
    try {
      save(await draw(holdsPages ? text : pages[this.page] ?? text, this.query(name)), `drawing.${extension}`);
      say(`Downloaded drawing.${extension}`);
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      this.showProblem(text, problem);
    }
  }

  async state() {
    const background = find('text-background').value;
    return {
      d: await pack(this.editor.text), size: find('text-size').value.trim(),
      dpi: find('text-dpi').value === '96' ? '' : find('text-dpi').value,
      background: background === 'color' ? find('text-color').value : background,
      format: find('text-format').value === 'png' ? '' : find('text-format').value,
      page: this.page > 0 ? String(this.page + 1) : '',
    };
  }

  async restore({d, size = '', dpi, background = '', format, page}) {
    const text = d && await unpack(d);
    const isColor = /^#[0-9a-f]{6}$/i.test(background);
    find('text-size').value = size.slice(0, 40);
    find('text-dpi').value = Number(dpi) >= 1 && Number(dpi) <= 4800 ? Math.round(Number(dpi)) : 96;
    find('text-background').value = isColor ? 'color' : background === 'none' ? 'none' : '';
    if (isColor) find('text-color').value = background.toLowerCase();
    find('text-format').value = formatNamed(format).name;
    this.page = Number.isInteger(Number(page)) ? Math.max(0, Number(page) - 1) : 0;
    if (typeof text === 'string') this.editor.text = text;
    return d === undefined || typeof text === 'string';
  }

  open() {
    this.editor.refresh();
    this.update();
  }
}
