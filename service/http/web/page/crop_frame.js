// SPDX-License-Identifier: MIT
// A rectangle that is drawn over a picture with the pointer. Its edges are pixels of the picture.

export class CropFrame {
  // `changed` gets [left, top, right, bottom], or null when a click has taken the rectangle away.
  constructor(image, frame, changed) {
    this.image = image;
    this.frame = frame;
    this.changed = changed;
    this.start = null;
    const area = image.parentElement;
    area.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      event.preventDefault();
      area.setPointerCapture(event.pointerId);
      this.start = this.pixelAt(event);
    });
    area.addEventListener('pointermove', (event) => {
      if (this.start) this.drag(this.pixelAt(event));
    });
    area.addEventListener('pointerup', () => { this.start = null; });
    area.addEventListener('pointercancel', () => { this.start = null; });
    new ResizeObserver(() => this.show(this.edges)).observe(image);
  }

  pixelAt(event) {
    const box = this.image.getBoundingClientRect();
    const part = (at, from, length, pixels) => Math.round(Math.min(Math.max((at - from) / length, 0), 1) * pixels);
    return [part(event.clientX, box.left, box.width, this.image.naturalWidth),
      part(event.clientY, box.top, box.height, this.image.naturalHeight)];
  }

  drag([x, y]) {
    const [x0, y0] = this.start;
    const edges = [Math.min(x0, x), Math.min(y0, y), Math.max(x0, x), Math.max(y0, y)];
    const isArea = edges[2] - edges[0] > 1 && edges[3] - edges[1] > 1;
    this.show(isArea ? edges : null);
    this.changed(isArea ? edges : null);
  }

  show(edges) {
    this.edges = edges;
    this.frame.hidden = !edges;
    if (!edges) return;
    const scale = this.image.clientWidth / this.image.naturalWidth;
    const [left, top, right, bottom] = edges.map((edge) => edge * scale);
    const {offsetLeft, offsetTop} = this.image;
    Object.assign(this.frame.style, {
      left: `${offsetLeft + left}px`, top: `${offsetTop + top}px`, width: `${right - left}px`, height: `${bottom - top}px`,
    });
  }
}
