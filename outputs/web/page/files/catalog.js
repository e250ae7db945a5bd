// Every fault that the filters can raise, with the events that raise and clear it.
import { address_with, parameters, replace } from './address.js';
import { severity_mark } from './marks.js';
import { get } from './server.js';
import { code_text, events_words, h, number, words_of } from './text.js';
import { failed } from './page.js';

let place, list, count;
let faults = [];

function events(title, entries, text) {
  if (entries.length === 0) return null;
  return [h('dt', {}, title), h('dd', {}, entries.map((one) => h('div', {}, events_words(one.events), h('span', { class: 'dim' }, ` \u2013 ${text(one)}`))))];
}

function behaviour(one) {
  return h('dl', {}, h('dt', {}, 'Sensors'), h('dd', {}, one.sensors.join(', ')), h('dt', {}, 'Objects'), h('dd', {}, one.objects.map((object) => object.dn).join(', ')),
    events('Raised by', one.raised_by, (event) => event.descr), events('Cleared by', one.cleared_by, (event) => event.descr),
    events('Supersedes', one.supersedes, (event) => code_text(event.code)), events('Superseded by', one.superseded_by, (event) => code_text(event.code)));
}

function profile(entries) {
  return entries.map((one) => h('p', {}, h('span', { class: 'dim' }, `${one.dn}: `), [one.severity && `severity ${one.severity}`, one.notify === false && 'nobody is notified', one.consequence, one.advice].filter(Boolean).join('; ')));
}

function entry(fault) {
  const details = h('details', {}, h('summary', {}, severity_mark(fault.severity), ` ${code_text(fault.code)} ${words_of(fault.name)} `, h('span', { class: 'dim' }, fault.filter)));
  details.addEventListener('toggle', () => {
    if (details.childElementCount > 1) return;
    details.append(h('p', {}, `${fault.name}: ${fault.cause}`, fault.probable_cause && `, ${fault.probable_cause} (${fault.event_type})`), ...(fault.profile ? profile(fault.profile) : []), ...fault.behaviours.map(behaviour));
  });
  return h('li', { class: 'card' }, details);
}

function draw() {
  const words = (parameters().get('text') ?? '').toLowerCase().split(/\s+/);
  const found = faults.filter((fault) => words.every((word) => fault.find.includes(word)));
  count.textContent = `${number(found.length)} of ${number(faults.length)} faults`;
  list.replaceChildren(...found.map(entry));
}

export default {
  title: 'Catalog',
  async show(where) {
    const field = h('input', { type: 'search', name: 'text', 'aria-label': 'Search: code, name, sensor, text', placeholder: 'search: code, name, sensor, text', autocomplete: 'off' });
    field.value = parameters().get('text') ?? '';
    count = h('span', { class: 'shown', role: 'status' });
    list = h('ul', { class: 'plain catalog' });
    place = h('div', {}, h('form', { class: 'filter', role: 'search', onsubmit: (event) => event.preventDefault() }, field, count), list);
    field.addEventListener('input', () => {
      replace(address_with({ text: field.value }));
      draw();
    });
    where.append(place);
    list.append(h('li', { class: 'dim' }, 'The catalog is being read.'));
    const into = place;
    try {
      const answer = await get('/api/v1/catalog');
      faults = answer.faults.map((fault) => ({ ...fault, find: `${code_text(fault.code)} ${words_of(fault.name)} ${JSON.stringify(fault)}`.toLowerCase() }));
      if (into === place) draw();
    } catch (error) {
      failed(list, error);
    }
  },
  moved() {
    place.querySelector('input').value = parameters().get('text') ?? '';
    if (faults.length > 0) draw();  // else they are being read, or the page says why they cannot be
  },
};
