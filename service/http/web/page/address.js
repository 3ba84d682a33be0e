// SPDX-License-Identifier: MIT
// The state of a tab in the fragment of the address, so that an address can be shared: #tab=text&d=...&dpi=192.
// Fragments never reach a server. Long texts are deflated; whatever cannot be read back is passed over.

const kMostCharacters = 2 ** 20;

const toBase64 = (bytes) => {
  let text = '';
  for (let i = 0; i < bytes.length; i += 8192) text += String.fromCharCode(...bytes.subarray(i, i + 8192));
  return btoa(text).replaceAll('+', '-').replaceAll('/', '_').replaceAll('=', '');
};

const fromBase64 = (text) =>
  Uint8Array.from(atob(text.replaceAll('-', '+').replaceAll('_', '/')), (letter) => letter.charCodeAt(0));

export async function pack(text) {
  const stream = new Blob([text]).stream().pipeThrough(new CompressionStream('deflate-raw'));
  return toBase64(new Uint8Array(await new Response(stream).arrayBuffer()));
}

// Null for what pack has not made, and for texts beyond a bound: a short address may deflate to a very long one.
export async function unpack(packed) {
  try {
    const reader = new Blob([fromBase64(packed)]).stream().pipeThrough(new DecompressionStream('deflate-raw'))
      .pipeThrough(new TextDecoderStream('utf-8', {fatal: true})).getReader();
    let text = '';
    for (;;) {
      const {done, value} = await reader.read();
      if (done) return text;
      text += value;
      if (text.length > kMostCharacters) {
        await reader.cancel();
        return null;
      }
    }
  } catch {
    return null;
  }
}

// The members of the present fragment, all of them texts; {} when there are none.
export function readFragment() {
  return Object.fromEntries(new URLSearchParams(location.hash.slice(1)));
}

let written = null;

// Members that are null or empty are left out. The history gets no entry: Back leads out of the page.
export function writeFragment(members) {
  const kept = Object.entries(members).filter(([, value]) => value != null && value !== '');
  written = `#${new URLSearchParams(kept)}`;
  history.replaceState(null, '', written);
}

// Calls changed() when the person has put another fragment into the address.
export function onFragment(changed) {
  addEventListener('hashchange', () => {
    if (location.hash !== written && location.hash !== '#main') changed();
  });
}
