// Texts, elements and times. Every text from outside goes through shown() and becomes text, never markup.

// What cannot be seen, or would turn the direction of what is beside it; the same as in the program.
const hidden = new RegExp(
  '[\\u0000-\\u001f\\u007f-\\u009f\\u00ad\\u034f\\u061c\\u115f\\u1160\\u17b4\\u17b5\\u180b-\\u180f\\u200b-\\u200f' +
  '\\u2028-\\u202e\\u2060-\\u206f\\u3164\\ud800-\\udfff\\ufdd0-\\ufdef\\ufe00-\\ufe0f\\ufeff\\uffa0\\ufff0-\\ufffb\\ufffe\\uffff' +
  '\\u{13430}-\\u{1343f}\\u{1bca0}-\\u{1bca3}\\u{1d173}-\\u{1d17a}\\u{e0000}-\\u{e0fff}' +
  Array.from({ length: 16 }, (_, plane) => `\\u{${(plane + 1).toString(16)}fffe}\\u{${(plane + 1).toString(16)}ffff}`).join('') +
  ']', 'gu');

export function shown(text) {
  return String(text).replace(hidden, (c) => `[U+${c.codePointAt(0).toString(16).toUpperCase().padStart(4, '0')}]`);
}

const svg_names = new Set(['svg', 'path', 'circle', 'rect', 'line', 'text', 'g', 'title']);

// An element; functions are its listeners, texts its text.
export function h(name, attributes = {}, ...content) {
  const element = svg_names.has(name) && name !== 'title'
    ? document.createElementNS('http://www.w3.org/2000/svg', name) : document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value === undefined || value === null || value === false) continue;
    if (typeof value === 'function') element.addEventListener(key.slice(2), value);
    else element.setAttribute(key, value === true ? '' : shown(value));
  }
  add(element, content);
  return element;
}

function add(element, content) {
  for (const one of content) {
    if (one === undefined || one === null || one === false || one === '') continue;
    if (Array.isArray(one)) add(element, one);
    else if (one instanceof Node) element.append(one);
    else element.append(shown(one));
  }
}

export const number = (value) => Math.round(value).toLocaleString('en-US');
export const plural = (count, one, many = one + 's') => `${number(count)} ${count === 1 ? one : many}`;

// How far the server's clock is ahead of this one; seconds.
let ahead = 0;
export function note_clock(date) {
  const difference = (Date.parse(date) - Date.now()) / 1000;
  if (Number.isFinite(difference)) ahead = Math.abs(difference) < 2 ? 0 : difference;
}
export const now = () => Date.now() / 1000 + ahead;

export function age(seconds) {
  const s = Math.max(0, Math.floor(seconds));
  if (s < 60) return `${s} s`;
  if (s < 7200) return `${Math.floor(s / 60)} min`;
  if (s < 172800) return `${Math.floor(s / 3600)} h`;
  return `${Math.floor(s / 86400)} d`;
}

const form = (options) => new Intl.DateTimeFormat('sv-SE', options);
const exact_form = form({ dateStyle: 'short', timeStyle: 'medium' });
const clock_form = form({ timeStyle: 'short' });
const day_form = form({ dateStyle: 'short' });
export const exact = (moment) => exact_form.format(moment * 1000);
export const clock = (moment) => clock_form.format(moment * 1000);
export const day = (moment) => day_form.format(moment * 1000);
// The time of today, else with its day.
export const clock_of = (moment) => (day(moment) === day(now()) ? clock(moment) : `${day(moment)} ${clock(moment)}`);
export const seconds_of = (text) => Date.parse(text) / 1000;

export function zone() {
  const name = Intl.DateTimeFormat().resolvedOptions().timeZone;
  const minutes = -new Date().getTimezoneOffset();
  const part = (value) => String(Math.floor(value)).padStart(2, '0');
  const offset = `UTC${minutes < 0 ? '\u2212' : '+'}${part(Math.abs(minutes) / 60)}:${part(Math.abs(minutes) % 60)}`;
  return name === 'UTC' ? 'UTC' : `${name} (${offset})`;
}

// How long ago, as a figure; a screen reader and the mouse are told when exactly.
export function ago(moment) {
  return h('time', { datetime: new Date(moment * 1000).toISOString(), title: exact(moment), 'data-at': moment }, age(now() - moment),
    h('span', { class: 'vh' }, ` ago, ${exact(moment)}`));
}

// The same within a sentence.
export function ago_words(moment) {
  return h('time', { datetime: new Date(moment * 1000).toISOString(), title: exact(moment), 'data-at': moment }, age(now() - moment), ' ago',
    h('span', { class: 'vh' }, `, ${exact(moment)}`));
}

export function tick() {
  for (const element of document.querySelectorAll('time[data-at]')) {
    const text = age(now() - Number(element.dataset.at));
    if (element.firstChild.data !== text) element.firstChild.data = text;
  }
}

// Objects without what all of them have in common.
export const short = (dn) => dn.replace(/^sys\/rack-unit-1\//, '').replace(/^sys\//, '');
export const code_text = (code) => `F${String(code).padStart(4, '0')}`;
export const number_of = (id) => Number(String(id).split('-').at(-1));

// The name of a fault in words: fltEquipmentFanMissing becomes "Equipment fan missing".
export function words_of(name) {
  const words = name.replace(/^flt/, '').replace(/([a-z0-9])([A-Z])/g, '$1 $2').toLowerCase();
  return words.charAt(0).toUpperCase() + words.slice(1);
}

// "58: any but 5; 4: 4" in words.
export const events_words = (events) => events.split('; ').map((one) => one.replace(/^(.*?): (.*)$/, 'offset $1, state $2')).join('; or ');
