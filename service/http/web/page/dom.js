// SPDX-License-Identifier: MIT
// Elements made and found in one line each. Text is always text: nothing here reads markup.

export const find = (id) => document.getElementById(id);

// element('p', {class: 'hint', onclick: f}, 'some text', child)
export function element(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) made.addEventListener(name.slice(2), value);
    else if (value === true) made.setAttribute(name, '');
    else if (value !== false && value != null) made.setAttribute(name, value);
  }
  made.append(...children.filter((child) => child != null));
  return made;
}

// The terms and descriptions of a list of facts; those without a value are left out.
export function showFacts(list, facts) {
  list.replaceChildren(...facts.filter(([, value]) => value != null && value !== '').map(([term, value]) =>
    element('div', {}, element('dt', {}, term), element('dd', {}, value))));
}

// An image shows the bytes of a blob; what it showed before is let go. Resolves when it can be seen.
export async function showBlob(image, blob) {
  const before = image.src;
  image.src = URL.createObjectURL(blob);
  if (before.startsWith('blob:')) URL.revokeObjectURL(before);
  await image.decode();
  image.hidden = false;
}

export function save(blob, name) {
  const link = element('a', {href: URL.createObjectURL(blob), download: name});
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

export function bytesText(count) {
  if (count < 1000) return `${count} bytes`;
  const units = ['kB', 'MB', 'GB'];
  let value = count / 1000;
  while (value >= 999.5 && units.length > 1) {
    value /= 1000;
    units.shift();
  }
  return `${value < 10 ? value.toFixed(1) : Math.round(value)} ${units[0]}`;
}

// A number as a person writes it: at most `digits` of them count.
export const numberText = (value, digits = 4) => String(Number(value.toPrecision(digits)));

export const plural = (count, one, many = `${one}s`) => `${count} ${count === 1 ? one : many}`;
