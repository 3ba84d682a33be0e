// SPDX-License-Identifier: MIT
// The service's endpoints, and its refusals as Problems that a person can act on.

let token = null;

// A service that listens to the network asks for one. It is kept while the page is open.
export const setToken = (text) => { token = text; };

// Why there is no result. `atFault` is 'input' when changing the input helps, else 'service'.
export class Problem extends Error {
  constructor(status, members = {}, retryAfter = null) {
    const [title, detail] = words(status, members, retryAfter);
    super(detail);
    Object.assign(this, {status, title, detail, retryAfter});
    this.line = members.line ?? null;
    this.column = members.column ?? null;
    this.pointer = members.pointer ?? null;
    this.parameter = members.parameter ?? null;
    this.atFault = [400, 413, 415, 422].includes(status) ? 'input' : 'service';
  }
}

function words(status, {title, detail, id}, retryAfter) {
  const said = detail ?? '';
  const after = retryAfter ? ` Trying again in ${retryAfter === 1 ? 'a second' : `${retryAfter} seconds`}.` : '';
  switch (status) {
    case 0: return ['The service does not answer.', 'Is it still running? What you typed is safe here.'];
    case 401: return ['A token is needed.', 'Whoever runs this service has it.'];
    case 413: return ['That is too much.', said];
    case 429: return ['The service is busy.', `Its queue is full.${after}`];
    case 503: return ['The service is busy.', `${said}${after}`];
    case 504: return ['That took too long.', 'The service gave up on it. A smaller picture may do.'];
    case 500: return ['Something broke in the service.', id ? `Its log tells more below ${id}.` : said];
    default: return [title ?? `The service answered ${status}.`, said];
  }
}

const isDetailed = (response) => (response.headers.get('Content-Type') ?? '').includes('json');

// Posts and resolves to the Response. Throws a Problem, or the AbortError of the signal.
export async function post(path, query, body, type, signal) {
  const address = new URL(path, document.baseURI);
  address.search = new URLSearchParams(query.filter(([, value]) => value != null && value !== '' || value === true)
    .map(([name, value]) => [name, value === true ? '' : value])).toString();
  const headers = {'Content-Type': type};
  if (token) headers.Authorization = `Bearer ${token}`;
  let response;
  try {
    response = await fetch(address, {method: 'POST', headers, body, signal, cache: 'no-store'});
  } catch (error) {
    if (error.name === 'AbortError') throw error;
    throw new Problem(0);
  }
  if (response.ok) return response;
  const seconds = Number.parseInt(response.headers.get('Retry-After'), 10);
  const members = isDetailed(response) ? await response.json().catch(() => ({})) : {};
  throw new Problem(response.status, members, Number.isFinite(seconds) ? seconds : null);
}

export const draw = (text, query, signal) =>
  post('v1/draw', query, text, 'application/json', signal).then((response) => response.blob());
export const describe = (text, query, signal) =>
  post('v1/describe', query, text, 'application/json', signal).then((response) => response.json());
export const hitTest = (request, signal) =>
  post('v1/hit', [], JSON.stringify(request), 'application/json', signal).then((response) => response.json());
export const hitMap = (request, size, signal) =>
  post('v1/hit', [['format', 'png'], ['size', size]], JSON.stringify(request), 'application/json', signal)
    .then((response) => response.blob());
export const pictureInfo = (file, signal) =>
  post('v1/image/info', [], file, pictureType(file), signal).then((response) => response.json());
export const convertPicture = (file, query, signal) =>
  post('v1/image', query, file, pictureType(file), signal).then((response) => response.blob());

// The service looks at the bytes; the type only has to be a picture's.
const pictureType = (file) => (/^image\/(png|jpeg|gif|tiff|webp|bmp|jp2)$/.test(file.type) ? file.type : 'image/png');
