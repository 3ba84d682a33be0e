// SPDX-License-Identifier: MIT
// The tab of pictures: what a picture is, a part of it at another size, and how large each format makes that.
import {CropFrame} from './crop_frame.js';
import {bytesText, element, find, save, showBlob, showFacts} from './dom.js';
import {formatNamed, kPictureFormats} from './formats.js';
import {latest} from './latest.js';
import {convertPicture, draw, pictureInfo} from './service.js';
import {kDescriptions} from './examples.js';
import {say} from './status.js';

const kEdges = ['left', 'top', 'right', 'bottom'];
const kShownByBrowsers = ['png', 'jpeg', 'webp', 'bmp', 'gif'];

export class PictureTab {
  constructor({guard, changed}) {
    this.guard = guard;
    this.changed = changed;
    this.file = null;
    this.shown = 'png';   // the format of the result that is seen
    this.made = new Map();  // the present result in each format
    this.frame = new CropFrame(find('picture-original'), find('picture-frame'), (edges) => this.setCrop(edges));
    this.schedule = latest(250, (signal) => this.guard(() => this.run(signal), () => this.update()));
    this.prepareControls();
    this.showFormats();
  }

  prepareControls() {
    const input = find('picture-file');
    const drop = find('picture-drop');
    input.addEventListener('change', () => input.files[0] && this.take(input.files[0]));
    for (const type of ['dragover', 'dragenter']) {
      drop.addEventListener(type, (event) => {
        event.preventDefault();
        drop.classList.add('over');
      });
    }
    drop.addEventListener('dragleave', () => drop.classList.remove('over'));
    drop.addEventListener('drop', (event) => {
      event.preventDefault();
      drop.classList.remove('over');
      if (event.dataTransfer.files[0]) this.take(event.dataTransfer.files[0]);
    });
    // A file that misses the place must not replace the page.
    for (const type of ['dragover', 'drop']) addEventListener(type, (event) => event.preventDefault());
    addEventListener('paste', (event) => {
      const [file] = event.clipboardData?.files ?? [];
      if (file && !find('panel-picture').hidden) this.take(file);
    });
    for (const edge of kEdges) find(`crop-${edge}`).addEventListener('input', () => this.showCrop());
    for (const name of ['resize', 'quality']) find(`picture-${name}`).addEventListener('input', () => this.update());
    find('picture-reset').addEventListener('click', () => this.reset());
    find('picture-sample').addEventListener('click', () => this.guard(() => this.sample(), () => this.sample()));
    find('picture-controls').addEventListener('submit', (event) => event.preventDefault());
  }

  async sample() {
    const blob = await draw(kDescriptions['A page of lines'], [['format', 'png'], ['size', '480x220'], ['background', '#f4f1ea']]);
    await this.take(new File([blob], 'sample.png', {type: 'image/png'}));
  }

  take(file) {
    return this.guard(() => this.load(file), () => this.take(file));
  }

  async load(file) {
    try {
      const info = await pictureInfo(file);
      const seen = kShownByBrowsers.includes(info.format) ? file : await convertPicture(file, [['format', 'png'], ['upright', true]]);
      await showBlob(find('picture-original'), seen);
      const isFirst = this.file === null;
      this.file = file;
      this.showInfo(file, info);
      // A shared address may have brought changes for the first one.
      if (isFirst) this.showCrop();
      else this.reset();
      say(`${file.name}: ${info.format}, ${info.width} by ${info.height} pixels`);
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      this.refuse(file, problem);
    }
  }

  showInfo(file, info) {
    find('picture-crop').hidden = false;
    find('picture-invite').classList.add('small');
    find('picture-invite').textContent = 'Drop or choose another';
    find('picture-hint').classList.remove('wrong');
    find('picture-hint').textContent = 'Drag over the picture to crop it.';
    const dpi = info.dpiX ? `${Math.round(info.dpiX)} × ${Math.round(info.dpiY)} dots an inch` : null;
    showFacts(find('picture-facts'), [
      ['File', file.name], ['Format', formatNamed(info.format).name === info.format ? formatNamed(info.format).label : info.format.toUpperCase()],
      ['Pixels', `${info.width} × ${info.height}`], ['Bits a pixel', String(info.fileBitsPerPixel ?? info.bitsPerPixel)],
      ['Palette', info.paletteSize ? `${info.paletteSize} colors` : null], ['Frames', info.frames > 1 ? String(info.frames) : null],
      ['Resolution', dpi], ['Bytes', bytesText(file.size)],
    ]);
  }

  refuse(file, problem) {
    const hint = find('picture-hint');
    hint.classList.add('wrong');
    hint.textContent = `${file.name} cannot be used: ${problem.detail}`;
    say(hint.textContent);
  }

  reset() {
    for (const edge of kEdges) find(`crop-${edge}`).value = '';
    find('picture-resize').value = '';
    find('picture-quality').value = 85;
    this.showCrop();
  }

  setCrop(edges) {
    kEdges.forEach((edge, at) => { find(`crop-${edge}`).value = edges ? edges[at] : ''; });
    this.update();
  }

  // The edges of the four fields; null unless all of them are there and in order.
  get crop() {
    const edges = kEdges.map((edge) => find(`crop-${edge}`).value.trim());
    if (edges.some((edge) => !/^\d+$/.test(edge))) return null;
    const [left, top, right, bottom] = edges.map(Number);
    return left < right && top < bottom ? [left, top, right, bottom] : null;
  }

  showCrop() {
    this.frame.show(this.crop);
    this.update();
  }

  update() {
    this.changed();
    find('picture-quality-value').textContent = find('picture-quality').value;
    if (!this.file) return;
    find('picture-sheet').classList.add('stale');
    this.schedule();
  }

  query(format) {
    return [['format', format.name], ['quality', format.lossy ? find('picture-quality').value : null],
      ['upright', true], ['crop', this.crop?.join(',')], ['resize', find('picture-resize').value.trim()]];
  }

  async run(signal) {
    find('picture-resize').removeAttribute('aria-invalid');
    this.made.clear();
    try {
      // The one that is seen comes first; the others follow one by one, so that nobody else's work waits long.
      const order = [...kPictureFormats].sort((a, b) => Number(b.name === this.shown) - Number(a.name === this.shown));
      for (const format of order) {
        const blob = await convertPicture(this.file, this.query(format), signal);
        if (signal.aborted) return;
        this.made.set(format.name, blob);
        if (format.name === this.shown) await this.showResult();
        this.showFormats();
      }
      const sizes = kPictureFormats.map(({label, name}) => `${label} ${bytesText(this.made.get(name).size)}`);
      say(`Made in six formats: ${sizes.join(', ')}`);
    } catch (problem) {
      if (problem.atFault !== 'input') throw problem;
      find('picture-caption').textContent = problem.detail;
      if (problem.parameter === 'resize') find('picture-resize').setAttribute('aria-invalid', 'true');
      say(`Not made: ${problem.detail}`);
    }
  }

  async showResult() {
    const format = formatNamed(this.shown);
    const blob = this.made.get(format.name);
    const image = find('picture-result');
    // What browsers do not show is shown as the service reads it back.
    await showBlob(image, format.shown ? blob : await convertPicture(new File([blob], 'result', {type: `image/${format.name}`}), [['format', 'png']]));
    image.alt = 'The changed picture';
    image.width = image.naturalWidth;
    find('picture-empty').hidden = true;
    find('picture-sheet').classList.remove('stale');
    find('picture-caption').textContent = `${image.naturalWidth} × ${image.naturalHeight} px · ${format.label} · ${bytesText(blob.size)}`;
  }

  choose(name) {
    this.shown = name;
    this.changed();
    this.showFormats();
    if (this.made.has(name)) this.guard(() => this.showResult(), () => this.showResult());
  }

  download({name, extension, label}) {
    const stem = this.file.name.replace(/\.[^.]*$/, '') || 'picture';
    save(this.made.get(name), `${stem}.${extension}`);
    say(`Downloaded as ${label}`);
  }

  showFormats() {
    const most = Math.max(...[...this.made.values()].map((blob) => blob.size), 1);
    const least = this.made.size === kPictureFormats.length ? Math.min(...[...this.made.values()].map((blob) => blob.size)) : 0;
    const focused = document.activeElement?.dataset?.control;
    const rows = kPictureFormats.map((format) => {
      const blob = this.made.get(format.name);
      const bar = element('meter', {min: 0, max: most, value: blob?.size ?? 0, 'aria-label': `Size as ${format.label}`});
      return element('tr', {class: format.name === this.shown ? 'chosen' : ''},
        element('th', {scope: 'row'}, element('label', {class: 'check'},
          element('input', {type: 'radio', name: 'shown', value: format.name, checked: format.name === this.shown,
            'data-control': `show-${format.name}`, onchange: () => this.choose(format.name)}), format.label)),
        element('td', {class: 'number'}, blob ? bytesText(blob.size) : '–'),
        element('td', {class: 'bar'}, bar, blob && blob.size === least ? element('span', {class: 'tag'}, 'smallest') : null),
        element('td', {class: 'action'}, element('button', {type: 'button', class: 'quiet', disabled: !blob,
          'aria-label': `Download ${format.label}`, 'data-control': `save-${format.name}`, onclick: () => this.download(format)}, 'Download')));
    });
    find('picture-formats').replaceChildren(element('table', {class: 'formats'},
      element('thead', {}, element('tr', {}, ...['Format', 'Size', 'Compared', 'File'].map((name) => element('th', {scope: 'col'}, name)))),
      element('tbody', {}, ...rows)));
    find('formats-summary').textContent = this.file ? `${this.made.size} of ${kPictureFormats.length} made` : 'Their sizes, once there is a picture';
    document.querySelector(`[data-control="${focused}"]`)?.focus();
  }

  // The picture itself stays on this machine: an address has the changes only.
  async state() {
    return {crop: this.crop?.join(',') ?? '', resize: find('picture-resize').value.trim(),
      quality: find('picture-quality').value === '85' ? '' : find('picture-quality').value, show: this.shown === 'png' ? '' : this.shown};
  }

  async restore({crop = '', resize = '', quality, show}) {
    const edges = /^\d+,\d+,\d+,\d+$/.test(crop) ? crop.split(',') : [];
    kEdges.forEach((edge, at) => { find(`crop-${edge}`).value = edges[at] ?? ''; });
    find('picture-resize').value = resize.slice(0, 40);
    find('picture-quality').value = Number(quality) >= 1 && Number(quality) <= 100 ? quality : 85;
    this.shown = kPictureFormats.find(({name}) => name === show)?.name ?? 'png';
    return true;
  }

  open() {
    this.showFormats();
    this.showCrop();
  }
}
