// SPDX-License-Identifier: MIT
// The formats of pages and pictures: their names for people, files and the service.

const format = (name, label, extension, {shown = false, pages = false, lossy = false, document = false} = {}) =>
  ({name, label, extension, shown, pages, lossy, document});

// `shown`: browsers show it. `pages`: a file holds any number of pages.
export const kFormats = [
  format('png', 'PNG', 'png', {shown: true}),
  format('jpeg', 'JPEG', 'jpg', {shown: true, lossy: true}),
  format('webp', 'WebP', 'webp', {shown: true, lossy: true}),
  format('svg', 'SVG', 'svg', {shown: true, document: true}),
  format('pdf', 'PDF', 'pdf', {pages: true, document: true}),
  format('tiff', 'TIFF', 'tiff', {pages: true}),
  format('jp2', 'JPEG 2000', 'jp2', {lossy: true}),
  format('bmp', 'BMP', 'bmp', {shown: true}),
];

export const formatNamed = (name) => kFormats.find((one) => one.name === name) ?? kFormats[0];
export const kPictureFormats = kFormats.filter((one) => !one.document);
