// SPDX-License-Identifier: MIT
// The tab of paths: what hits, and for the point under the pointer how far away the path is and which record decided.
import {pack, unpack} from './address.js';
import {find, numberText, plural, save, showBlob, showFacts} from './dom.js';
import {Editor} from './editor.js';
import {fillExamples, kPaths} from './examples.js';
import {findingOfProblem} from './findings.js';
import {latest, oneAtATime} from './latest.js';
import {recordPlaces} from './path_records.js';
import {hitMap, hitTest} from './service.js';
import {say} from './status.js';

const kMapPixels = 640;
const kSvg = 'http://www.w3.org/2000/svg';
const kSegments = {
  line: 'a line', quadratic: 'a quadratic curve', cubic: 'a cubic curve', arc: 'an arc', close: 'the closing line',
};
const kRays = {right: '→', down: '↓', left: '←', up: '↑'};

export class PathTab {
  constructor({guard, changed}) {
    this.guard = guard;
    this.changed = changed;
    this.view = null;  // what the map shows, in path units
    this.editor = new Editor(find('path-editor'), {
      value: kPaths.Heart, mode: null, label: 'Path, SVG path data', problems: find('path-problems'),
      changed: () => this.update(),
    });
    this.schedule = latest(150, (signal) => this.guard(() => this.run(signal), () => this.update()));
    this.probe = oneAtATime(() => this.guard(() => this.ask(), () => this.probe()));
    this.prepareControls();
  }

  get request() {
    return {path: this.editor.text, tolerance: Number(find('path-tolerance').value), fill: find('path-fill').checked};
  }
  get point() { return [Number(find('path-x').value), Number(find('path-y').value)]; }

  prepareControls() {
    fillExamples(find('path-example'), kPaths, (text) => { this.editor.text = text; });
    for (const name of ['tolerance', 'fill']) find(`path-${name}`).addEventListener('input', () => this.update());
    for (const name of ['x', 'y']) find(`path-${name}`).addEventListener('input', () => this.probe());
    const map = find('path-map');
    map.addEventListener('pointermove', (event) => this.moveTo(event));
    map.addEventListener('pointerdown', (event) => this.moveTo(event));
    map.addEventListener('keydown', (event) => this.step(event));
    find('path-download').addEventListener('click', () => this.picture && save(this.picture, 'hits.png'));
  }

  moveTo(event) {
    const box = find('path-picture').getBoundingClientRect();
    if (!this.view || box.width === 0) return;
    const {left, top, right, bottom} = this.view;
    this.setPoint(left + (event.clientX - box.left) / box.width * (right - left),
      top + (event.clientY - box.top) / box.height * (bottom - top));
  }

  step(event) {
    const [dx, dy] = {ArrowRight: [1, 0], ArrowLeft: [-1, 0], ArrowDown: [0, 1], ArrowUp: [0, -1]}[event.key] ?? [0, 0];
    if (!this.view || (dx === 0 && dy === 0)) return;
    event.preventDefault();
    const unit = (this.view.right - this.view.left) / (event.shiftKey ? 20 : 100);
    const [x, y] = this.point;
    this.setPoint(x + dx * unit, y + dy * unit);
  }

  setPoint(x, y) {
    find('path-x').value = numberText(x);
    find('path-y').value = numberText(y);
    this.probe();
  }

  update() {
    this.changed();
    find('path-tolerance-value').textContent = find('path-tolerance').value;
    find('path-map').classList.add('stale');
    this.schedule();
  }

  async run(signal) {
    const text = this.editor.text;
    if (text.trim() === '') return this.showNothing('Choose an example, or type a path such as M 0 0 L 10 10.');
    try {
      const [answer, picture] = await Promise.all([
        hitTest({...this.request, points: [this.point]}, signal), hitMap(this.request, kMapPixels, signal)]);
      this.view = answer.map;
      this.picture = picture;
      await showBlob(find('path-picture'), picture);
      if (signal.aborted) return undefined;
      find('path-picture').alt = `Hit map of ${plural(answer.records, 'record')}`;
      find('path-empty').hidden = true;
      find('path-map').classList.remove('stale');
      this.editor.show([]);
      this.show(answer);
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      const inPath = placeInPath(problem);
      this.editor.show([findingOfProblem(text, inPath)]);
      say(`No path: ${inPath.detail}`);
    }
    return undefined;
  }

  async ask() {
    if (!this.view) return;
    try {
      this.show(await hitTest({...this.request, points: [this.point]}));
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      // The editor tells it already, or will.
    }
  }

  show({results: [result], records}) {
    const [x, y] = this.point;
    const verdict = find('path-verdict');
    verdict.textContent = result.hit ? 'Hit' : 'Miss';
    verdict.className = `verdict ${result.hit ? 'hit' : 'miss'}`;
    const segment = result.segment?.type;
    showFacts(find('path-facts'), [
      ['Distance', result.distance == null ? 'the path draws nothing' : numberText(result.distance)],
      ['Decided by', result.record != null ? `record ${result.record} of ${records}${segment ? `, ${kSegments[segment] ?? segment}` : ''}`
        : result.hit ? 'the rays: all four cross the outline' : 'no segment is near enough'],
      ['Rays that cross', find('path-fill').checked ? result.rays.map((ray) => kRays[ray]).join(' ') || 'none' : null],
    ]);
    this.draw(result, [x, y]);
    const places = recordPlaces(this.editor.text);
    const place = segment === 'close' ? places.closings.get(result.record) : places.records[result.record];
    // A text that this page reads otherwise than the service does is not pointed into.
    this.editor.point(places.records.length === records && place ? place : null);
    say(`${result.hit ? 'Hit' : 'Miss'} at ${numberText(x)}, ${numberText(y)}; distance ${result.distance == null ? 'unknown' : numberText(result.distance)}`);
  }

  // The point, the reach of the tolerance, and the segment that decided.
  draw(result, [x, y]) {
    const {left, top, right, bottom} = this.view;
    const overlay = find('path-overlay');
    const picture = find('path-picture');
    overlay.setAttribute('viewBox', `${left} ${top} ${right - left} ${bottom - top}`);
    overlay.setAttribute('width', picture.clientWidth);
    overlay.setAttribute('height', picture.clientHeight);
    const unit = (right - left) / Math.max(picture.clientWidth, 1);
    const make = (tag, attributes) => {
      const made = document.createElementNS(kSvg, tag);
      for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
      return made;
    };
    const segment = segmentPath(result.segment);
    overlay.replaceChildren(
      ...(segment ? [make('path', {class: 'decided', d: segment, 'stroke-width': 5 * unit})] : []),
      make('circle', {class: 'reach', cx: x, cy: y, r: Math.max(Number(find('path-tolerance').value), 0), 'stroke-width': unit}),
      make('circle', {class: 'probe', cx: x, cy: y, r: 4 * unit, 'stroke-width': 1.5 * unit}));
  }

  showNothing(text) {
    this.view = null;
    this.picture = null;
    find('path-picture').hidden = true;
    find('path-overlay').replaceChildren();
    find('path-empty').hidden = false;
    find('path-empty').textContent = text;
    find('path-verdict').textContent = 'No path yet.';
    find('path-verdict').className = 'verdict';
    showFacts(find('path-facts'), []);
    this.editor.show([]);
  }

  async state() {
    const [x, y] = this.point;
    return {p: await pack(this.editor.text), tolerance: find('path-tolerance').value, fill: find('path-fill').checked ? '1' : '', x, y};
  }

  async restore({p, tolerance, fill, x, y}) {
    const text = p && await unpack(p);
    if (Number(tolerance) >= 0 && Number(tolerance) <= 20) find('path-tolerance').value = tolerance;
    find('path-fill').checked = fill === '1';
    for (const [name, value] of [['x', x], ['y', y]]) if (Number.isFinite(Number(value))) find(`path-${name}`).value = value ?? 0;
    if (typeof text === 'string') this.editor.text = text;
    return p === undefined || typeof text === 'string';
  }

  open() {
    this.editor.refresh();
    this.update();
  }
}

// The place of a problem is that of the path in the request; where in the path, its text says: "path: line 2, column 6: ...".
function placeInPath(problem) {
  const match = /line (\d+), column (\d+): (.*)/s.exec(problem.detail);
  return match ? {line: Number(match[1]), column: Number(match[2]), detail: match[3]}
    : {line: null, detail: problem.detail.replace(/^path: /, '')};
}

// The decided segment as path data; an arc is shown by its ends, and the map shows it already.
function segmentPath(segment) {
  const letter = {line: 'L', close: 'L', quadratic: 'Q', cubic: 'C'}[segment?.type];
  if (!letter || !segment.points?.length) return null;
  const [start, ...rest] = segment.points;
  return `M ${start.join(' ')} ${letter} ${rest.flat().join(' ')}`;
}
